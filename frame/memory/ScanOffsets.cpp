#include "frame/memory/ScanOffsets.h"

#include <algorithm>

bool ScanOffsets::Enter(const SectorBlock& block) {
    const bool continues = !everyBlockIsNew && source_ != nullptr && source_ == block.source &&
                           sectorSize_ == block.sectorSize && nextSector_ == block.firstSector;
    if (!continues) {
        originSector_ = block.firstSector;
        sectorSize_ = block.sectorSize;
        source_ = block.source;
    }
    nextSector_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(block.firstSector) +
                                            static_cast<std::uint64_t>(std::max(block.sectorCount, 0)));
    return continues;
}
