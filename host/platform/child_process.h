#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/platform/system_error.h"

namespace salvor {

/// An open descriptor and its number in another process.
struct PassedDescriptor {
    int descriptor = -1;
    int number = -1;
};

/// How a process ended: by itself with an exit status, or by a signal; `signal` is 0 otherwise.
struct ProcessEnd {
    int status = 0;
    int signal = 0;
    /// It was killed from outside.
    bool WasKilled() const;
    /// It attempted something that its sandbox forbids.
    bool WasForbidden() const;
};

/// A process of this program. If it still runs when this object is destroyed, it is killed.
class ChildProcess {
public:
    /// Starts this program with other arguments. The process gets only the descriptors that are passed, numbered from 3
    /// on without gaps, and almost no environment. Its standard streams lead nowhere.
    static ChildProcess StartSelf(const std::vector<std::string>& arguments,
                                  std::span<const PassedDescriptor> descriptors);
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess();

    bool IsStarted() const { return id_ > 0; }
    /// Why it could not be started.
    const SystemError& Error() const { return error_; }

    /// How it ended; nothing while it runs.
    std::optional<ProcessEnd> End();
    void Kill() const;

    /// How long its first thread has been ready to run while other processes had the processors. Zero if the system
    /// does not tell.
    std::chrono::nanoseconds WaitedForProcessor() const;

private:
    ChildProcess() = default;

    int id_ = 0;
    std::optional<ProcessEnd> end_;
    SystemError error_;
};

/// The number of this process.
int OwnProcessId();

/// Call in a process started in this way, from its only thread: it ends when the process `parent` does. False if that
/// has already ended.
bool EndWithParent(int parent);

/// Ends this process at once, without destructors.
[[noreturn]] void EndProcess(int status);

}  // namespace salvor
