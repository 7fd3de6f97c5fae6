#include "host/platform/sandbox.h"

#include <fcntl.h>
#include <malloc.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <memory>
#include <span>
#include <type_traits>

namespace salvor {

namespace {

// A limit can always be lowered; raising it fails and leaves the present one.
template <class Resource>
void Limit(Resource resource, rlim_t most) {
    const rlimit limit{most, most};
    setrlimit(resource, &limit);
}

void SetLimits(const SandboxLimits& limits) {
    Limit(RLIMIT_CORE, 0);
    if (!IsSanitized) {
        Limit(RLIMIT_NOFILE, 0);
    }
    if (!limits.mayWrite) {
        Limit(RLIMIT_FSIZE, 0);
    }
    if (limits.memory > 0 && !IsSanitized) {
        // With an arena for each thread, malloc's reserves would count as used memory.
        mallopt(M_ARENA_MAX, 1);
        Limit(RLIMIT_DATA, static_cast<rlim_t>(limits.memory));
    }
}

struct FilterRelease {
    void operator()(void* filter) const { seccomp_release(filter); }
};

class Filter {
public:
    Filter() : filter_(seccomp_init(SCMP_ACT_KILL_PROCESS)) {
        if (filter_) {
            seccomp_attr_set(filter_.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
        }
    }

    void Allow(std::initializer_list<int> calls) {
        for (const int call : calls) {
            Add(SCMP_ACT_ALLOW, call, {});
        }
    }
    void AllowIf(int call, scmp_arg_cmp condition) { Add(SCMP_ACT_ALLOW, call, {&condition, 1}); }
    void Fail(int call, int error) { Add(SCMP_ACT_ERRNO(static_cast<std::uint16_t>(error)), call, {}); }

    bool IsMade() const { return filter_ != nullptr; }
    bool Load() { return seccomp_load(filter_.get()) == 0; }
    std::uint8_t RefusedRules() const { return refused_; }

private:
    // Calls that this processor's kernel does not have are skipped; they do not count as refused.
    void Add(std::uint32_t action, int call, std::span<const scmp_arg_cmp> conditions) {
        const auto count = static_cast<unsigned int>(conditions.size());
        if (seccomp_rule_add_array(filter_.get(), action, call, count, conditions.data()) < 0) {
            ++refused_;
        }
    }

    std::uint8_t refused_ = 0;
    std::unique_ptr<std::remove_pointer_t<scmp_filter_ctx>, FilterRelease> filter_;
};

Sandbox LoadFilter() {
    Filter filter;
    if (!filter.IsMade()) {
        return {};
    }
    // Files that are open, memory, threads, time, and the end.
    filter.Allow({SCMP_SYS(read), SCMP_SYS(pread64), SCMP_SYS(readv), SCMP_SYS(write), SCMP_SYS(pwrite64),
                  SCMP_SYS(writev), SCMP_SYS(lseek), SCMP_SYS(fstat), SCMP_SYS(fsync), SCMP_SYS(fdatasync),
                  SCMP_SYS(fadvise64), SCMP_SYS(close)});
    filter.Allow({SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(madvise), SCMP_SYS(brk)});
    filter.Allow({SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(gettid), SCMP_SYS(getpid),
                  SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(membarrier)});
    filter.Allow({SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack)});
    filter.Allow({SCMP_SYS(clock_gettime), SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep), SCMP_SYS(gettimeofday),
                  SCMP_SYS(restart_syscall), SCMP_SYS(getrandom), SCMP_SYS(exit), SCMP_SYS(exit_group)});
    // The C library queries an open file through an empty path.
    filter.AllowIf(SCMP_SYS(newfstatat), {3, SCMP_CMP_MASKED_EQ, AT_EMPTY_PATH, AT_EMPTY_PATH});
    // Memory never becomes executable.
    filter.AllowIf(SCMP_SYS(mmap), {2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0});
    filter.AllowIf(SCMP_SYS(mprotect), {2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0});
    // Threads, but no processes. The flags of clone3 are in memory, where the filter cannot see them; without it the C
    // library uses clone.
    filter.AllowIf(SCMP_SYS(clone), {0, SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD});
    filter.Fail(SCMP_SYS(clone3), ENOSYS);
    // For abort, but no signals to other processes.
    filter.AllowIf(SCMP_SYS(tgkill), {0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(getpid()), 0});
    // Calls that libraries make but do not need.
    filter.Fail(SCMP_SYS(ioctl), ENOTTY);
    filter.Fail(SCMP_SYS(prctl), EPERM);
    filter.Fail(SCMP_SYS(prlimit64), EPERM);
    filter.Fail(SCMP_SYS(readlink), EPERM);
    // A picture library looks for translations of its messages when it meets a damaged file.
    filter.Fail(SCMP_SYS(getcwd), EPERM);
    if (IsSanitized) {
        // Sanitizers use a pipe to find out whether memory can be read.
        filter.Allow({SCMP_SYS(pipe), SCMP_SYS(pipe2)});
    }
    return {filter.Load() ? SandboxKind::Filter : SandboxKind::LimitsOnly, filter.RefusedRules()};
}

}  // namespace

Sandbox EnterSandbox(const SandboxLimits& limits) {
    SetLimits(limits);
    return limits.withFilter ? LoadFilter() : Sandbox();
}

}  // namespace salvor
