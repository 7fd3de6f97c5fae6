#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/platform/system_error.h"

namespace salvor {

/// An open descriptor and the number under which another process finds it.
struct PassedDescriptor {
    int descriptor = -1;
    int number = -1;
};

/// How a process ended: by itself with an exit status, or by a signal, which is 0 otherwise.
struct ProcessEnd {
    int status = 0;
    int signal = 0;
    /// Somebody wanted it to end at once.
    bool WasKilled() const;
    /// It tried what its sandbox forbids.
    bool WasForbidden() const;
};

/// A process of this program. One that is still there when this ends is killed.
class ChildProcess {
public:
    /// Starts the program itself with other arguments. It sees only the descriptors that it is given, with numbers from
    /// 3 on that leave no gap, and next to nothing of the environment. Its standard streams lead nowhere.
    static ChildProcess StartSelf(const std::vector<std::string>& arguments,
                                  std::span<const PassedDescriptor> descriptors);
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess();

    bool IsStarted() const { return id_ > 0; }
    /// Why it could not be started.
    const SystemError& Error() const { return error_; }

    /// Nothing while it goes on.
    std::optional<ProcessEnd> End();
    void Kill() const;

private:
    ChildProcess() = default;

    int id_ = 0;
    std::optional<ProcessEnd> end_;
    SystemError error_;
};

/// The number of this process.
int OwnProcessId();

/// In a process that was started so: it ends when the process `parent` does. Call it from the only thread. False if
/// that has ended before.
bool EndWithParent(int parent);

/// Ends this process at once, without destructors.
[[noreturn]] void EndProcess(int status);

}  // namespace salvor
