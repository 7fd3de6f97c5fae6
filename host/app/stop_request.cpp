#include "host/app/stop_request.h"

#include <atomic>
#include <csignal>

namespace salvor {

namespace {

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

extern "C" void OnStopSignal(int /*signal*/) { stopRequested = true; }

}  // namespace

void InstallSignalHandlers() {
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    // The default handling comes back once the signal was taken.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A file beyond the size that the system allows is one failed write, not the end of the program.
    std::signal(SIGXFSZ, SIG_IGN);
}

bool StopRequested() { return stopRequested; }

}  // namespace salvor
