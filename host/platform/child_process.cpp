#include "host/platform/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "host/platform/file_descriptor.h"
#include "host/platform/sandbox.h"

namespace salvor {

namespace {

constexpr int FirstPassed = 3;

// The environment variables that workers get: the path of libraries, options of sanitizers, requests of tests.
constexpr std::array PassedVariables{"LD_LIBRARY_PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "SALVOR_TEST_FAULT"};

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    posix_spawn_file_actions_t* Get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

std::vector<char*> Pointers(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> PassedEnvironment() {
    // Any other zone name would be looked up in files.
    std::vector<std::string> environment{"TZ=UTC0"};
    for (const char* const name : PassedVariables) {
        if (const char* const value = std::getenv(name); value != nullptr) {
            environment.push_back(std::string(name) + '=' + value);
        }
    }
    return environment;
}

}  // namespace

bool ProcessEnd::WasKilled() const { return signal == SIGKILL; }

bool ProcessEnd::WasForbidden() const { return signal == SIGSYS; }

ChildProcess ChildProcess::StartSelf(const std::vector<std::string>& arguments,
                                     std::span<const PassedDescriptor> descriptors) {
    SpawnActions actions;
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        // Sanitizers report on standard error.
        if (stream != STDERR_FILENO || !IsSanitized) {
            posix_spawn_file_actions_addopen(actions.Get(), stream, "/dev/null", O_RDWR, 0);
        }
    }
    // Copies with numbers above all those that are passed, so that none is overwritten.
    const int last = FirstPassed + static_cast<int>(descriptors.size());
    std::vector<FileDescriptor> copies;
    for (const PassedDescriptor& passed : descriptors) {
        copies.emplace_back(fcntl(passed.descriptor, F_DUPFD_CLOEXEC, last));
        posix_spawn_file_actions_adddup2(actions.Get(), copies.back().Get(), passed.number);
    }
    posix_spawn_file_actions_addclosefrom_np(actions.Get(), last);

    std::vector<std::string> words{"salvor"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = PassedEnvironment();
    ChildProcess child;
    pid_t id = 0;
    errno = posix_spawn(&id, "/proc/self/exe", actions.Get(), nullptr, Pointers(words).data(),
                        Pointers(environment).data());
    if (errno != 0) {
        child.error_ = SystemError::Last();
    } else {
        child.id_ = id;
    }
    return child;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : id_(std::exchange(other.id_, 0)), end_(std::exchange(other.end_, std::nullopt)), error_(other.error_) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(end_, other.end_);
    std::swap(error_, other.error_);
    return *this;
}

ChildProcess::~ChildProcess() {
    Kill();
    if (IsStarted() && !end_) {
        while (waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

std::optional<ProcessEnd> ChildProcess::End() {
    int status = 0;
    if (IsStarted() && !end_ && waitpid(id_, &status, WNOHANG) == id_) {
        end_ = WIFSIGNALED(status) ? ProcessEnd{0, WTERMSIG(status)} : ProcessEnd{WEXITSTATUS(status), 0};
    }
    return end_;
}

void ChildProcess::Kill() const {
    if (IsStarted() && !end_) {
        kill(id_, SIGKILL);
    }
}

std::chrono::nanoseconds ChildProcess::WaitedForProcessor() const {
    // The time on a processor, and the time in a processor's queue.
    std::ifstream times("/proc/" + std::to_string(id_) + "/schedstat");
    std::int64_t ran = 0;
    std::int64_t waited = 0;
    return times >> ran >> waited ? std::chrono::nanoseconds(waited) : std::chrono::nanoseconds(0);
}

int OwnProcessId() { return getpid(); }

bool EndWithParent(int parent) { return prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0 && getppid() == parent; }

void EndProcess(int status) { _exit(status); }

}  // namespace salvor
