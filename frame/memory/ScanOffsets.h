#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "frame/contract/SectorBlock.h"

/// Places on the medium, in bytes from the start of a row of ascending blocks. Hosts may leave out blocks. What a
/// scanner learns about a place holds for all blocks of the row.
class ScanOffsets {
public:
    /// The next block starts a row of its own.
    void Reset() { source_ = nullptr; }

    /// For tests only: every block starts a new row. In blocks of one sector each candidate is then examined with
    /// nothing remembered, which changes no report.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static inline bool everyBlockIsNew = false;

    /// False if the block starts a new row: everything known about places is then void.
    bool Enter(const SectorBlock& block) {
        const bool continues = !everyBlockIsNew && source_ != nullptr && source_ == block.source &&
                               sectorSize_ == block.sectorSize && IsAhead(block.firstSector);
        if (!continues) {
            originSector_ = block.firstSector;
            sectorSize_ = block.sectorSize;
            source_ = block.source;
        }
        nextSector_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(block.firstSector) +
                                                static_cast<std::uint64_t>(std::max(block.sectorCount, 0)));
        return continues;
    }

    /// Absolute sector at place 0.
    std::int64_t OriginSector() const { return originSector_; }

    std::int64_t PlaceOf(std::int64_t sector) const {
        // Unsigned, as sector numbers wrap around.
        const std::uint64_t sectorsIn = static_cast<std::uint64_t>(sector) - static_cast<std::uint64_t>(originSector_);
        return static_cast<std::int64_t>(sectorsIn * static_cast<std::uint64_t>(sectorSize_));
    }

private:
    // Places further on would not fit.
    bool IsAhead(std::int64_t sector) const {
        constexpr std::int64_t farthest = std::numeric_limits<std::int64_t>::max() / 2;
        return sector == nextSector_ ||
               (sector > nextSector_ && nextSector_ >= originSector_ && sectorSize_ > 0 &&
                static_cast<std::uint64_t>(sector) - static_cast<std::uint64_t>(originSector_) <
                    static_cast<std::uint64_t>(farthest / sectorSize_));
    }

    std::int64_t originSector_ = 0;
    std::int64_t nextSector_ = 0;
    std::int32_t sectorSize_ = 0;
    const ISectorSource* source_ = nullptr;
};
