#pragma once

#include <cstdint>

#include "frame/memory/ScanOffsets.h"
#include "frame/scan/WalkingScanner.h"

/// What the walks of a scan share that know places of the medium; those of `ScanOffsets`.
class PlacedMemory : public WalkMemory {
public:
    void Reset() {
        WalkMemory::Reset();
        offsets_.Reset();
    }
    /// False if everything known about places is void.
    bool EnterBlock(const SectorBlock& block) {
        WalkMemory::EnterBlock(block);
        return offsets_.Enter(block);
    }
    void BeginWalk(const Candidate& candidate) {
        WalkMemory::BeginWalk(candidate);
        start_ = offsets_.PlaceOf(candidate.startSector);
    }

    /// The place of an offset in the file being walked.
    std::int64_t PlaceOf(std::int64_t at) const { return start_ + at; }

private:
    ScanOffsets offsets_;
    std::int64_t start_ = 0;
};
