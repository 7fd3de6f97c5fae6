#pragma once

#include <cstdint>

namespace salvor {

/// The program was built with sanitizers that need address space without bound and make reports of their own.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool IsSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool IsSanitized = true;
#else
inline constexpr bool IsSanitized = false;
#endif
#else
inline constexpr bool IsSanitized = false;
#endif

struct SandboxLimits {
    /// Bytes of memory; no limit in a sanitizer's build.
    std::int64_t memory = 0;
    /// May regular files that are open be written?
    bool mayWrite = false;
    /// For tests: false behaves as on a kernel without filters.
    bool withFilter = true;
};

/// What holds the process from now on.
enum class SandboxKind : std::uint8_t {
    /// Limits alone, which let no file be opened: the kernel offers no filter of system calls.
    LimitsOnly = 1,
    /// Any attempt to open a file, to start a process or to reach a network ends the process with SIGSYS.
    Filter = 2,
};

struct Sandbox {
    SandboxKind kind = SandboxKind::LimitsOnly;
    /// System calls whose rule the kernel refused: a process that makes one is ended.
    std::uint8_t refusedRules = 0;
};

/// From now on the process, with all its threads, may compute, start threads, read and write what is open, and end.
/// There is no way back.
Sandbox EnterSandbox(const SandboxLimits& limits);

}  // namespace salvor
