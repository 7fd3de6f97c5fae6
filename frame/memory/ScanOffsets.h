#pragma once

#include <cstdint>

#include "frame/contract/SectorBlock.h"

/// Places on the medium, in bytes from the start of a row of blocks, each of which continues the one before. What a
/// scanner learns of a place holds for all blocks of the row.
class ScanOffsets {
public:
    /// The next block starts a row of its own.
    void Reset() { source_ = nullptr; }

    /// For tests only: every block starts a new row. In blocks of one sector each candidate is then examined with
    /// nothing remembered, which changes no report.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static inline bool everyBlockIsNew = false;

    /// False if the block starts a new row, and what was known of places is void.
    bool Enter(const SectorBlock& block);

    /// Absolute sector at place 0.
    std::int64_t OriginSector() const { return originSector_; }

    std::int64_t PlaceOf(std::int64_t sector) const {
        // Unsigned, as sector numbers wrap around.
        const std::uint64_t sectorsIn = static_cast<std::uint64_t>(sector) - static_cast<std::uint64_t>(originSector_);
        return static_cast<std::int64_t>(sectorsIn * static_cast<std::uint64_t>(sectorSize_));
    }

private:
    std::int64_t originSector_ = 0;
    std::int64_t nextSector_ = 0;
    std::int32_t sectorSize_ = 0;
    const ISectorSource* source_ = nullptr;
};
