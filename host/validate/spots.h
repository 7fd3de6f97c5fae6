#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// How little a type says about a file that other types claim too; 0 for most. Any run of letters is plain text, any
/// ASF film is an ASF file, any package is a ZIP archive, and one maker's raws have two names.
int GeneralityOf(std::int32_t type);
/// The value for plain text, the highest of all.
inline constexpr int MostGeneral = 2;

/// A sector with finds or a validator's own signature. There may be millions.
struct Spot {
    std::int64_t sector = 0;
    /// Index among the sorted finds.
    std::uint32_t firstFind = 0;
    std::uint32_t findCount = 0;
    bool isStart = false;
    /// Another whole file begins inside and ends after it.
    bool isCrossed = false;
};

/// What a scan has seen, sector by sector: each spot once, ascending, with its finds and without duplicates.
class Spots {
public:
    Spots(const Medium& medium, std::vector<Find> finds, std::vector<std::int64_t> starts);

    /// Index of the first spot at or after this sector.
    std::size_t FirstFrom(std::int64_t sector) const {
        return static_cast<std::size_t>(std::ranges::lower_bound(spots_, sector, {}, &Spot::sector) - spots_.begin());
    }
    std::size_t Count() const { return spots_.size(); }
    Spot& operator[](std::size_t index) { return spots_[index]; }
    const Spot& operator[](std::size_t index) const { return spots_[index]; }

    /// Index of the first spot at or after `sector`.
    std::size_t IndexFrom(std::int64_t sector) const;

    /// Ordered by type and size.
    std::span<const Find> FindsAt(const Spot& spot) const {
        return std::span(finds_).subspan(spot.firstFind, spot.findCount);
    }
    /// The type among the spot's finds, of which there is at least one.
    std::int32_t LeastGeneralType(const Spot& spot) const;

    /// The sectors on the medium where something other than plain text seems to begin, ascending.
    std::vector<std::int64_t> Starts() const;

    bool IsOnMedium(std::int64_t sector) const { return sector >= 0 && sector < sectorCount_; }

private:
    std::int64_t sectorCount_;
    // Ordered by start, type and size.
    std::vector<Find> finds_;
    std::vector<Spot> spots_;
};

}  // namespace salvor
