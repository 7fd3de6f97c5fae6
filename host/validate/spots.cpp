#include "host/validate/spots.h"

#include <FileTypeCatalog.h>

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

namespace salvor {

int GeneralityOf(std::int32_t type) {
    if (type == FileTypeIndex::Text) {
        return MostGeneral;
    }
    return type == FileTypeIndex::Asf || type == FileTypeIndex::Srf || type == FileTypeIndex::Zip ? 1 : 0;
}

Spots::Spots(const Medium& medium, std::vector<Find> finds, std::vector<std::int64_t> starts)
    : sectorCount_(medium.SectorCount()), finds_(std::move(finds)) {
    std::ranges::sort(finds_, {}, [](const Find& find) { return std::tuple(find.startSector, find.type, find.size); });
    finds_.erase(std::unique(finds_.begin(), finds_.end()), finds_.end());
    std::ranges::sort(starts);
    spots_.reserve(finds_.size() + starts.size());
    std::size_t start = 0;
    const auto addStartsUpTo = [&](std::int64_t sector) {
        for (; start < starts.size() && starts[start] < sector; ++start) {
            if (IsOnMedium(starts[start]) && (spots_.empty() || spots_.back().sector != starts[start])) {
                spots_.push_back({starts[start], 0, 0, true});
            }
        }
    };
    for (std::size_t i = 0; i < finds_.size();) {
        Spot spot{finds_[i].startSector, static_cast<std::uint32_t>(i), 0, false};
        while (i < finds_.size() && finds_[i].startSector == spot.sector) {
            ++i;
        }
        spot.findCount = static_cast<std::uint32_t>(i) - spot.firstFind;
        addStartsUpTo(spot.sector);
        for (; start < starts.size() && starts[start] == spot.sector; ++start) {
            spot.isStart = true;
        }
        spots_.push_back(spot);
    }
    addStartsUpTo(std::numeric_limits<std::int64_t>::max());
}

std::size_t Spots::IndexFrom(std::int64_t sector) const {
    return static_cast<std::size_t>(std::ranges::lower_bound(spots_, sector, {}, &Spot::sector) - spots_.begin());
}

std::int32_t Spots::LeastGeneralType(const Spot& spot) const {
    const auto finds = FindsAt(spot);
    return std::ranges::min(finds, {}, [](const Find& find) { return GeneralityOf(find.type); }).type;
}

std::vector<std::int64_t> Spots::Starts() const {
    std::vector<std::int64_t> sectors;
    for (const Spot& spot : spots_) {
        if (IsOnMedium(spot.sector) && (spot.isStart || GeneralityOf(LeastGeneralType(spot)) < MostGeneral)) {
            sectors.push_back(spot.sector);
        }
    }
    return sectors;
}

}  // namespace salvor
