#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"
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
