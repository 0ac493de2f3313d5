#include "host/hostevents.h"

#include <algorithm>
#include <utility>

namespace {

struct ObserverRegistry
{
    std::mutex mutex;
    std::vector<std::pair<int, HostEvents::Observer>> observers;
    int nextId = 1;
};

ObserverRegistry& Registry()
{
    static ObserverRegistry registry;
    return registry;
}

} // namespace

void BroadcastHostEvent(int code, void* payload)
{
    // Copy the list so that an observer may register or unregister while it
    // is being called, and so that no lock is held during delivery.
    std::vector<std::pair<int, HostEvents::Observer>> observers;
    {
        std::lock_guard<std::mutex> lock(Registry().mutex);
        observers = Registry().observers;
    }
    for (auto& entry : observers)
        entry.second(code, payload);
}

namespace HostEvents {

int AddObserver(Observer observer)
{
    std::lock_guard<std::mutex> lock(Registry().mutex);
    const int id = Registry().nextId++;
    Registry().observers.emplace_back(id, std::move(observer));
    return id;
}

void RemoveObserver(int id)
{
    std::lock_guard<std::mutex> lock(Registry().mutex);
    auto& list = Registry().observers;
    list.erase(std::remove_if(list.begin(), list.end(),
                              [id](const auto& entry) { return entry.first == id; }),
               list.end());
}

} // namespace HostEvents

HostEventLog::HostEventLog()
{
    observerId_ = HostEvents::AddObserver([this](int code, void*) {
        std::lock_guard<std::mutex> lock(mutex_);
        codes_.push_back(code);
    });
}

HostEventLog::~HostEventLog()
{
    HostEvents::RemoveObserver(observerId_);
}

std::vector<int> HostEventLog::Codes() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return codes_;
}

int HostEventLog::Count(int code) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<int>(std::count(codes_.begin(), codes_.end(), code));
}

void HostEventLog::Clear()
{
    std::lock_guard<std::mutex> lock(mutex_);
    codes_.clear();
}
