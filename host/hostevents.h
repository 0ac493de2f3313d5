#pragma once

#include "host/host_export.h"

#include <QtGlobal>

#include <functional>
#include <mutex>
#include <vector>

/// Numbered events that the counting module sends to its host.
enum HostEventCode
{
    HOST_EVENT_RESULTS_CHANGED = 17,    ///< result set cleared or republished; null payload
    HOST_EVENT_OBJECT_PICKED = 36,      ///< click highlighted an object; payload: int* index
    HOST_EVENT_AUTO_CUT_FINISHED = 39,  ///< automatic cut done (worker thread); null payload
    HOST_EVENT_COUNTING_ENDED = 53,     ///< counting ended; null payload
    HOST_EVENT_OBJECT_HIGHLIGHTED = 54, ///< object highlighted by index; payload: its target item
    HOST_EVENT_VIEW_PRESSED = 55, ///< press on the view with no results shown; payload: QPointF*
};

/**
 * @brief Delivers @p code with @p payload to every registered observer,
 * synchronously and in registration order.
 *
 * The payload is valid only during the call. May be called from any thread;
 * observers run on the calling thread (event 39 comes from the cut worker).
 */
AUTOCOUNT_HOST_EXPORT void BroadcastHostEvent(int code, void* payload);

namespace HostEvents {

using Observer = std::function<void(int code, void* payload)>;

/// Registers an observer; returns an id for RemoveObserver.
AUTOCOUNT_HOST_EXPORT int AddObserver(Observer observer);
/// Unregisters the observer with @p id; unknown ids are ignored.
AUTOCOUNT_HOST_EXPORT void RemoveObserver(int id);

} // namespace HostEvents

/**
 * @brief Stand-alone event log: records the code of every broadcast event
 * while it exists. Payload pointers are not kept, since they die with the call.
 */
class AUTOCOUNT_HOST_EXPORT HostEventLog
{
public:
    HostEventLog();
    ~HostEventLog();
    HostEventLog(const HostEventLog&) = delete;
    HostEventLog& operator=(const HostEventLog&) = delete;

    /// Codes received so far, oldest first.
    std::vector<int> Codes() const;
    /// How many events with @p code were received.
    int Count(int code) const;
    void Clear();

private:
    mutable std::mutex mutex_;
    std::vector<int> codes_;
    int observerId_;
};
