#pragma once

#include <cstdint>

namespace salvor {

/// The program was built with sanitizers, which need unlimited address space and print reports.
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
    /// Memory limit in bytes; ignored in a sanitizer build.
    std::int64_t memory = 0;
    /// May open regular files be written to?
    bool mayWrite = false;
    /// For tests: false acts as on a kernel without filters.
    bool withFilter = true;
};

/// How the process is confined from now on.
enum class SandboxKind : std::uint8_t {
    /// Only by limits, which prevent files from being opened: the kernel has no filter for system calls.
    LimitsOnly = 1,
    /// Any attempt to open a file, to start a process or to reach a network ends the process with SIGSYS.
    Filter = 2,
};

struct Sandbox {
    SandboxKind kind = SandboxKind::LimitsOnly;
    /// The number of system calls whose rule the kernel refused: a process that makes one is ended.
    std::uint8_t refusedRules = 0;
};

/// From now on the process, with all its threads, can only compute, start threads, read and write what is open, and
/// end. This cannot be undone.
Sandbox EnterSandbox(const SandboxLimits& limits);

}  // namespace salvor
