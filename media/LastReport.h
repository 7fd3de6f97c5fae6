#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/scan/SectorScan.h"

/// What a scanner has reported last in a scan: sectors in front of its end are no candidates. There is none while its
/// start is 0 or less.
class LastReport {
public:
    void Reset() { file_ = {0, 0}; }

    /// `size` in bytes, of which no more than `maxSize` were reported.
    void Set(std::int64_t startSector, std::int64_t size, std::int64_t maxSize) {
        file_ = {startSector, std::min(size, maxSize)};
    }

    bool Refuses(const Candidate& candidate) const {
        if (file_.startSector <= 0) {
            return false;
        }
        const std::int64_t sectorSize = candidate.block.sectorSize;
        const std::int64_t sectors = file_.size / sectorSize + (file_.size % sectorSize > 0 ? 1 : 0);
        const auto end = static_cast<std::uint64_t>(file_.startSector) + static_cast<std::uint64_t>(sectors);
        return candidate.startSector < static_cast<std::int64_t>(end);
    }

private:
    FoundFile file_{0, 0};
};
