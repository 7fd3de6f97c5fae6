#include "host/volumes/known_files.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace salvor {

KnownFiles::KnownFiles(std::vector<KnownFile> files, const SectorRangeSet& used, std::int64_t sectorSize)
    : files_(std::move(files)) {
    std::erase_if(files_, [&](const KnownFile& one) { return one.isDeleted && used.Contains(one.StartSector()); });
    std::ranges::stable_sort(files_, {}, [](const KnownFile& one) {
        return std::tuple(one.StartSector(), one.isDeleted, !one.isComplete, one.path.empty());
    });
    const auto sameStart = [](const KnownFile& a, const KnownFile& b) {
        return a.StartSector() == b.StartSector();
    };
    files_.erase(std::unique(files_.begin(), files_.end(), sameStart), files_.end());
    FindIntact(used, sectorSize);
}

void KnownFiles::FindIntact(const SectorRangeSet& used, std::int64_t sectorSize) {
    struct Claim {
        SectorRange sectors;
        std::size_t file;
    };
    std::vector<Claim> living;
    isIntact_.resize(files_.size());
    for (std::size_t i = 0; i < files_.size(); ++i) {
        isIntact_[i] = files_[i].isComplete;
        for (const Extent& extent : files_[i].extents) {
            if (extent.IsHole()) {
                continue;
            }
            const SectorRange sectors{extent.startSector, (extent.bytes + sectorSize - 1) / sectorSize};
            if (!files_[i].isDeleted) {
                living.push_back({sectors, i});
            } else if (used.Intersects(sectors)) {
                isIntact_[i] = false;
            }
        }
    }
    std::ranges::sort(living, {}, [](const Claim& claim) { return claim.sectors.first; });
    std::size_t longest = 0;
    for (std::size_t i = 1; i < living.size(); ++i) {
        const SectorRange& before = living[longest].sectors;
        if (living[i].sectors.first < before.first + before.count) {
            isIntact_[living[i].file] = false;
            isIntact_[living[longest].file] = false;
        }
        if (living[i].sectors.first + living[i].sectors.count > before.first + before.count) {
            longest = i;
        }
    }
}

}  // namespace salvor
