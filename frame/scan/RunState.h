#pragma once

#include <cstdint>

/// A scanner's open file and its size cap, stored directly behind the interface.
struct RunState {
    /// Nonzero while a file is open: its header has been seen and its end not yet.
    std::int32_t inFile = 0;
    /// Absolute sector number of the open file's header.
    std::int64_t startSector = 0;
    /// Bytes counted for the open file so far.
    std::int64_t runLength = 0;
    /// Cap in bytes on the reported size.
    std::int64_t maxSize = 0;
};
