#pragma once

#include <cstdint>

/// One file that a scanner has found. Owned by the scanner and valid only during the call of the sink.
struct FoundFile {
    /// Absolute number of the sector at which the file begins, in the numbering of `SectorBlock::firstSector`.
    std::int64_t startSector;
    /// Length of the file in bytes. 0 means that only the start is known and the host decides the length.
    std::int64_t size;
};
