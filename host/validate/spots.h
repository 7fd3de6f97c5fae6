#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// How little a type says about a file that other types claim too; 0 for most. Any run of letters is plain text, any
/// ASF film is an ASF file, any package is a ZIP archive, and one maker's raws have two names.
int GeneralityOf(std::int32_t type);
/// The value for plain text, the highest of all.
inline constexpr int MostGeneral = 2;

/// A sector with finds or a validator's own signature.
struct Spot {
    std::int64_t sector = 0;
    /// Index among the sorted finds.
    std::size_t firstFind = 0;
    std::size_t findCount = 0;
    bool isStart = false;
    /// Another whole file begins inside and ends after it.
    bool isCrossed = false;
};

/// What a scan has seen, sector by sector: each spot once, ascending, with its finds and without duplicates. There may
/// be millions, so a spot takes 16 bytes and a find takes 8.
class Spots {
public:
    Spots(const Medium& medium, std::vector<Find> finds, std::vector<std::int64_t> starts);

    /// The finds of a spot, ordered by type and size.
    class FindList {
    public:
        class Iterator {
        public:
            using iterator_concept = std::input_iterator_tag;
            using value_type = Find;
            using difference_type = std::ptrdiff_t;

            Iterator() = default;
            Iterator(const Spots* spots, std::int64_t sector, std::size_t index)
                : spots_(spots), sector_(sector), index_(index) {}
            Find operator*() const { return spots_->FindOf(sector_, index_); }
            Iterator& operator++() {
                ++index_;
                return *this;
            }
            Iterator operator++(int) {
                Iterator before = *this;
                ++index_;
                return before;
            }
            bool operator==(const Iterator&) const = default;

        private:
            const Spots* spots_ = nullptr;
            std::int64_t sector_ = 0;
            std::size_t index_ = 0;
        };

        FindList(const Spots& spots, const Spot& spot)
            : begin_(&spots, spot.sector, spot.firstFind), end_(&spots, spot.sector, spot.firstFind + spot.findCount) {}
        Iterator begin() const { return begin_; }
        Iterator end() const { return end_; }

    private:
        Iterator begin_;
        Iterator end_;
    };

    std::size_t Count() const { return spots_.size(); }
    Spot operator[](std::size_t index) const;
    std::int64_t SectorOf(std::size_t index) const { return spots_[index].sector; }
    void Cross(std::size_t index) { spots_[index].isCrossed = true; }

    /// Index of the first spot at or after `sector`.
    std::size_t IndexFrom(std::int64_t sector) const;

    FindList FindsAt(const Spot& spot) const { return {*this, spot}; }
    /// The type among the spot's finds, of which there is at least one.
    std::int32_t LeastGeneralType(const Spot& spot) const;

    /// The sectors on the medium where something other than plain text seems to begin, ascending.
    std::vector<std::int64_t> Starts() const;

    bool IsOnMedium(std::int64_t sector) const { return sector >= 0 && sector < sectorCount_; }

private:
    struct PackedSpot {
        std::int64_t sector = 0;
        std::uint32_t firstFind = 0;
        bool isStart = false;
        bool isCrossed = false;
    };
    // The type in the lowest byte, and the size above; `WildSize` for one that does not fit.
    using PackedFind = std::int64_t;
    static constexpr int SizeShift = 8;
    static constexpr std::int64_t WildSize = INT64_MIN >> SizeShift;

    void AddFind(const Find& find);
    Find FindOf(std::int64_t sector, std::size_t index) const;

    std::int64_t sectorCount_;
    // Ordered by start, type and size.
    std::vector<PackedFind> finds_;
    std::map<std::size_t, std::int64_t> wildSizes_;
    std::vector<PackedSpot> spots_;
};

}  // namespace salvor
