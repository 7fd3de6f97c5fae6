#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/report/json_lines.h"

namespace salvor {

/// How another process opens a medium that this one has open.
struct MediumAccess {
    /// For images that have no descriptors to pass on.
    ImageSpec image;
    /// Those of `MediumSource::Descriptors`; the medium outlives the order.
    std::vector<int> descriptors;
    std::int32_t sectorSize = 512;
    bool skipBad = false;
    /// What is known to be unreadable.
    std::vector<SectorRange> unreadable;
    /// The part of that medium that is joined as the order's medium; null for all of it.
    std::shared_ptr<const Space> space = nullptr;
};

/// How a worker opens the medium that this process has opened from `image`, and joined as `space` says.
MediumAccess AccessTo(const Medium& medium, const ImageSpec& image, std::shared_ptr<const Space> space = nullptr);

/// What one worker process is to do.
// Moving JSON throws nothing, which the check does not see.
struct Order {  // NOLINT(bugprone-exception-escape)
    /// Bytes of memory that a worker may use.
    static constexpr std::int64_t DefaultMemory = std::int64_t{128} << 20;

    /// The client's own number for it; it comes back with all that is told of the order.
    std::int64_t id = 0;
    /// Names the function; see `WorkerKind`.
    std::string kind;
    /// The function's own parameters.
    Json what;
    MediumAccess medium;
    std::int64_t memory = DefaultMemory;
    /// The descriptor of a file for the worker to write; -1 for none.
    int output = -1;
    /// That of a file in memory with what is too much for `what`; -1 for none.
    int input = -1;
};

/// The order on one line, as a worker reads it, with its descriptors as the worker has them.
std::string ToLine(const Order& order);
/// Throws an exception of the standard library for what is no order.
Order OrderIn(const std::string& line);

}  // namespace salvor
