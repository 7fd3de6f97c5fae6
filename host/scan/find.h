#pragma once

#include <cstdint>

namespace salvor {

/// A scanner's report, with the medium's sectors counted from 0.
struct Find {
    /// Factory index of the type.
    std::int32_t type = 0;
    std::int64_t startSector = 0;
    /// In bytes; 0 if only the start is known.
    std::int64_t size = 0;
    bool operator==(const Find&) const = default;
};

}  // namespace salvor
