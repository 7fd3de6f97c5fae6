#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "frame/bytes/Bytes.h"
#include "frame/contract/ISectorSource.h"
#include "frame/contract/SectorBlock.h"

/// One sector of a block as a scanner sees it.
struct Candidate {
    const SectorBlock& block;
    /// Absolute number of the sector in the stream.
    std::int64_t startSector;
    /// The sector's bytes; empty when the block has no data.
    ByteSpan sector;

    /// Byte offset of the sector in the block.
    std::int64_t OffsetInBlock() const {
        const std::uint64_t index =
            static_cast<std::uint64_t>(startSector) - static_cast<std::uint64_t>(block.firstSector);
        return static_cast<std::int64_t>(index) * block.sectorSize;
    }

    /// The bytes from the sector's start to the end of the block, for fields that reach beyond a small sector.
    ByteSpan RestOfBlock() const {
        const std::int64_t blockBytes = static_cast<std::int64_t>(block.sectorCount) * block.sectorSize;
        return sector.empty() ? sector
                              : ByteSpan(sector.data(), static_cast<std::size_t>(blockBytes - OffsetInBlock()));
    }
};

/// The medium's size in bytes; the largest number where the host gives no sound geometry.
inline std::int64_t MediumSize(const SectorBlock& block) {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    if (block.source == nullptr) {
        return largest;
    }
    SectorGeometry geometry{};
    block.source->GetGeometry(&geometry);
    if (geometry.bytesPerSector == 0 || geometry.sectorCount < 1 ||
        geometry.sectorCount > largest / geometry.bytesPerSector) {
        return largest;
    }
    return geometry.sectorCount * geometry.bytesPerSector;
}
