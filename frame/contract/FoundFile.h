#pragma once

#include <cstdint>

/// One file that a scanner has found. Lives on the scanner's side and is valid only while the sink is called.
struct FoundFile {
    /// Absolute number of the sector at which the file begins, in the numbering of `SectorBlock::firstSector`.
    std::int64_t startSector;
    /// Length of the file in bytes. 0 says that only the start is known and the host decides the length.
    std::int64_t size;
};
