#include "host/platform/stop_request.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string_view>

namespace salvor {

namespace {

constexpr int StoppedStatus = 130;

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

extern "C" void OnStopSignal(int /*signal*/) {
    if (stopRequested.exchange(true)) {
        constexpr std::string_view line = "\nsalvor: ended at once\n";
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
        _exit(StoppedStatus);
    }
}

}  // namespace

void ListenForStop() {
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A program started to survive the end of its session (nohup) keeps doing so.
    struct sigaction before {};
    if (sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
        sigaction(SIGHUP, &action, nullptr);
    }
    signal(SIGXFSZ, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
}

void LeaveStopToParent() {
    for (const int one : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ, SIGPIPE}) {
        signal(one, SIG_IGN);
    }
}

bool StopRequested() { return stopRequested; }

}  // namespace salvor
