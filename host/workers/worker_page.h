#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// How a worker's order ended.
enum class Ending : std::uint8_t {
    /// It did not say.
    None,
    Done,
    /// It was asked to stop, and what it has done until then is good.
    Stopped,
    /// It could not do what was asked, and said why.
    Failed,
    OutOfMemory,
    /// A signal ended it that it had not asked for.
    Crashed,
    /// It went nowhere for too long.
    Hung,
    /// It tried what no worker may: to open a file, to start a process, to reach a network.
    Forbidden,
};

/// What a worker is looking at, and how far it is.
struct Standing {
    SectorRange sectors;
    /// A number of the order's own kind, such as a factory index; -1 at first.
    std::int32_t subject = -1;
    /// Bytes.
    std::int64_t done = 0;
};

/// Memory that a worker shares with its crew.
struct WorkerPage {
    // Written by the worker.
    std::atomic<std::int64_t> first;
    std::atomic<std::int64_t> count;
    std::atomic<std::int32_t> subject;
    std::atomic<std::int64_t> done;
    // Grows with every step.
    std::atomic<std::uint64_t> steps;
    // Threads that wait for the medium.
    std::atomic<std::int32_t> readers;
    std::atomic<std::uint8_t> sandbox;
    std::atomic<std::uint8_t> refusedRules;
    std::atomic<Ending> ending;
    // Why it failed; ends with a zero.
    std::array<char, 512> text;

    // Written by the crew.
    std::atomic<bool> stop;
};
static_assert(std::atomic<std::int64_t>::is_always_lock_free && std::atomic<Ending>::is_always_lock_free,
              "two processes use them");

// Where a worker finds what it was given.
inline constexpr int OrderDescriptor = 3;
inline constexpr int PageDescriptor = 4;
inline constexpr int LinesDescriptor = 5;
inline constexpr int OutputDescriptor = 6;
inline constexpr int InputDescriptor = 7;
inline constexpr int SpaceDescriptor = 8;
inline constexpr int FirstMediumDescriptor = 9;

/// The word in front of a worker's arguments.
inline constexpr const char* WorkerWord = "worker";

}  // namespace salvor
