#include "interruption.h"

#include "checkedfile.h"

#include <atomic>
#include <csignal>

#include <unistd.h>

namespace interruption {

namespace {

std::atomic<int> received{0};

void OnSignal(int number)
{
    int none = 0;
    if (received.compare_exchange_strong(none, number))
        return;
    // Asked twice: the user wants out now. Only async-signal-safe calls here.
    if (number == SIGINT || number == SIGTERM) {
        checkedfile::RemoveTemporariesForSignal();
        ::_exit(128 + number);
    }
}

} // namespace

void Install()
{
    static const bool installed = [] {
        struct sigaction action = {};
        action.sa_handler = OnSignal;
        sigemptyset(&action.sa_mask);
        // No SA_RESTART: a blocking read or write returns EINTR, and the
        // writers retry it themselves.
        for (int number : {SIGINT, SIGTERM, SIGPIPE})
            sigaction(number, &action, nullptr);
        return true;
    }();
    (void)installed;
}

bool Requested()
{
    return received.load() != 0;
}

int Signal()
{
    return received.load();
}

int ExitStatus()
{
    const int number = received.load();
    return number == 0 ? 0 : 128 + number;
}

const char* SignalName()
{
    switch (received.load()) {
    case SIGINT:
        return "SIGINT";
    case SIGTERM:
        return "SIGTERM";
    case SIGPIPE:
        return "SIGPIPE";
    default:
        return "no signal";
    }
}

} // namespace interruption
