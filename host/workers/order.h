#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/records/json_lines.h"

namespace salvor {

/// How another process can open a medium that this one has open.
struct MediumAccess {
    /// For images without descriptors to pass on.
    ImageSpec image;
    /// The result of `MediumSource::Descriptors`; the medium outlives the order.
    std::vector<int> descriptors;
    std::int32_t sectorSize = 512;
    bool skipBad = false;
    /// Sectors known to be unreadable.
    std::vector<SectorRange> unreadable;
    /// The part of the medium that is joined as the order's medium; null for all of it.
    std::shared_ptr<const Space> space = nullptr;
};

/// How a worker can open the medium that this process has opened from `image` and joined as `space` says.
MediumAccess AccessTo(const Medium& medium, const ImageSpec& image, std::shared_ptr<const Space> space = nullptr);

/// The task of one worker process.
// Moving JSON throws nothing, which the check does not recognise.
struct Order {  // NOLINT(bugprone-exception-escape)
    /// The memory in bytes that a worker may use.
    static constexpr std::int64_t DefaultMemory = std::int64_t{128} << 20;

    /// The client's number for it; comes back with everything that concerns the order.
    std::int64_t id = 0;
    /// The name of the worker's function; see `WorkerKind`.
    std::string kind;
    /// The function's own parameters.
    Json what;
    MediumAccess medium;
    std::int64_t memory = DefaultMemory;
    /// The descriptor of a file that the worker writes; -1 for none.
    int output = -1;
    /// The descriptor of a file in memory with data too large for `what`; -1 for none.
    int input = -1;
    /// The descriptor of a file of lines that the worker reads, and that may grow meanwhile; -1 for none.
    int log = -1;
};

/// The order on one line, with the descriptors' numbers in the worker.
std::string ToLine(const Order& order);
/// Throws an exception of the standard library if the line is not an order.
Order OrderIn(const std::string& line);

}  // namespace salvor
