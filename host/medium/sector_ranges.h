#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace salvor {

/// Consecutive sectors of the medium, counted from 0.
struct SectorRange {
    std::int64_t first = 0;
    std::int64_t count = 0;
    bool operator==(const SectorRange&) const = default;
};

/// A set of sectors, kept as ranges that neither overlap nor touch.
class SectorRangeSet {
public:
    void Add(SectorRange range);
    bool Contains(std::int64_t sector) const;
    bool Intersects(SectorRange range) const;
    /// The first range of the set that ends after `sector`; empty if there is none.
    SectorRange NextFrom(std::int64_t sector) const;
    /// Ascending.
    std::vector<SectorRange> Ranges() const;
    std::int64_t SectorCount() const { return sectorCount_; }
    std::size_t RangeCount() const { return ranges_.size(); }

private:
    // By the first sector of a range, the sector after its last.
    std::map<std::int64_t, std::int64_t> ranges_;
    std::int64_t sectorCount_ = 0;
};

}  // namespace salvor
