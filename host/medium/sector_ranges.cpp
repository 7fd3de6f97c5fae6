#include "host/medium/sector_ranges.h"

#include <algorithm>
#include <iterator>

namespace salvor {

void SectorRangeSet::Add(SectorRange range) {
    if (range.count <= 0) {
        return;
    }
    std::int64_t first = range.first;
    std::int64_t end = range.first + range.count;
    auto next = ranges_.upper_bound(first);
    if (next != ranges_.begin() && std::prev(next)->second >= first) {
        --next;
    }
    while (next != ranges_.end() && next->first <= end) {
        first = std::min(first, next->first);
        end = std::max(end, next->second);
        sectorCount_ -= next->second - next->first;
        next = ranges_.erase(next);
    }
    ranges_.emplace(first, end);
    sectorCount_ += end - first;
}

bool SectorRangeSet::Contains(std::int64_t sector) const { return Intersects({sector, 1}); }

bool SectorRangeSet::Intersects(SectorRange range) const {
    const auto next = ranges_.lower_bound(range.first + range.count);
    return next != ranges_.begin() && std::prev(next)->second > range.first;
}

SectorRange SectorRangeSet::NextFrom(std::int64_t sector) const {
    auto next = ranges_.upper_bound(sector);
    if (next != ranges_.begin() && std::prev(next)->second > sector) {
        --next;
    }
    return next == ranges_.end() ? SectorRange{} : SectorRange{next->first, next->second - next->first};
}

std::vector<SectorRange> SectorRangeSet::Ranges() const {
    std::vector<SectorRange> list;
    list.reserve(ranges_.size());
    for (const auto& [first, end] : ranges_) {
        list.push_back({first, end - first});
    }
    return list;
}

}  // namespace salvor
