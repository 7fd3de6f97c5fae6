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
    : sectorCount_(medium.SectorCount()) {
    std::ranges::sort(finds, {}, [](const Find& find) { return std::tuple(find.startSector, find.type, find.size); });
    finds.erase(std::unique(finds.begin(), finds.end()), finds.end());
    std::ranges::sort(starts);
    finds_.reserve(finds.size());
    spots_.reserve(std::max(finds.size(), starts.size()));
    const auto add = [this](std::int64_t sector) -> PackedSpot& {
        if (spots_.empty() || spots_.back().sector != sector) {
            spots_.push_back({sector, static_cast<std::uint32_t>(finds_.size())});
        }
        return spots_.back();
    };
    std::size_t start = 0;
    const auto addStartsUpTo = [&](std::int64_t sector) {
        for (; start < starts.size() && starts[start] <= sector; ++start) {
            if (IsOnMedium(starts[start])) {
                add(starts[start]).isStart = true;
            }
        }
    };
    for (const Find& find : finds) {
        addStartsUpTo(find.startSector);
        add(find.startSector);
        AddFind(find);
    }
    addStartsUpTo(std::numeric_limits<std::int64_t>::max());
}

void Spots::AddFind(const Find& find) {
    static_assert(FileTypeCount <= 1 << SizeShift);
    std::int64_t size = find.size;
    if (size <= WildSize || size > std::numeric_limits<std::int64_t>::max() >> SizeShift) {
        wildSizes_.emplace(finds_.size(), std::exchange(size, WildSize));
    }
    finds_.push_back(size * (1 << SizeShift) + find.type);
}

Find Spots::FindOf(std::int64_t sector, std::size_t index) const {
    const PackedFind find = finds_[index];
    const std::int64_t size = find >> SizeShift;
    return {static_cast<std::int32_t>(find & ((1 << SizeShift) - 1)), sector,
            size == WildSize ? wildSizes_.at(index) : size};
}

Spot Spots::operator[](std::size_t index) const {
    const PackedSpot& spot = spots_[index];
    const std::size_t end = index + 1 < spots_.size() ? spots_[index + 1].firstFind : finds_.size();
    return {spot.sector, spot.firstFind, end - spot.firstFind, spot.isStart, spot.isCrossed};
}

std::size_t Spots::IndexFrom(std::int64_t sector) const {
    return static_cast<std::size_t>(std::ranges::lower_bound(spots_, sector, {}, &PackedSpot::sector) - spots_.begin());
}

std::int32_t Spots::LeastGeneralType(const Spot& spot) const {
    return std::ranges::min(FindsAt(spot), {}, [](const Find& find) { return GeneralityOf(find.type); }).type;
}

std::vector<std::int64_t> Spots::Starts() const {
    std::vector<std::int64_t> sectors;
    sectors.reserve(spots_.size());
    for (std::size_t i = 0; i < spots_.size(); ++i) {
        const Spot spot = (*this)[i];
        if (IsOnMedium(spot.sector) && (spot.isStart || GeneralityOf(LeastGeneralType(spot)) < MostGeneral)) {
            sectors.push_back(spot.sector);
        }
    }
    return sectors;
}

}  // namespace salvor
