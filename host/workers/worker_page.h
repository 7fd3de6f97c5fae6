#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// How a worker's order ended.
enum class Ending : std::uint8_t {
    /// It has not been reported.
    None,
    Done,
    /// It was asked to stop; what it has done until then is valid.
    Stopped,
    /// It could not do what was asked, and said why.
    Failed,
    OutOfMemory,
    /// It was ended by a signal that was not a stop request.
    Crashed,
    /// It made no progress for too long.
    Hung,
    /// It attempted something that workers must not do: open a file, start a process, reach a network.
    Forbidden,
};

/// What a worker is working on, and how far it is.
struct Standing {
    SectorRange sectors;
    /// A number whose meaning depends on the order, such as a factory index; -1 at first.
    std::int32_t subject = -1;
    /// In bytes.
    std::int64_t done = 0;
};

/// The memory that a worker shares with its crew.
struct WorkerPage {
    // Written by the worker.
    std::atomic<std::int64_t> first;
    std::atomic<std::int64_t> count;
    std::atomic<std::int32_t> subject{-1};
    std::atomic<std::int64_t> done;
    // Increases with every step.
    std::atomic<std::uint64_t> steps;
    // The number of threads that wait for the medium.
    std::atomic<std::int32_t> readers;
    std::atomic<std::uint8_t> sandbox;
    std::atomic<std::uint8_t> refusedRules;
    std::atomic<Ending> ending;
    // Why it failed; zero-terminated.
    std::array<char, 512> text;

    // Written by the crew.
    std::atomic<bool> stop;
};
static_assert(std::atomic<std::int64_t>::is_always_lock_free && std::atomic<Ending>::is_always_lock_free,
              "two processes use them");

// The descriptors of what a worker is given.
inline constexpr int OrderDescriptor = 3;
inline constexpr int PageDescriptor = 4;
inline constexpr int LinesDescriptor = 5;
inline constexpr int OutputDescriptor = 6;
inline constexpr int InputDescriptor = 7;
inline constexpr int SpaceDescriptor = 8;
inline constexpr int LogDescriptor = 9;
inline constexpr int FirstMediumDescriptor = 10;

/// The first argument of a worker process.
inline constexpr const char* WorkerWord = "worker";

}  // namespace salvor
