#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/medium/medium.h"
#include "host/medium/sector_ranges.h"
#include "host/validators/place.h"

namespace salvor {

/// The grid on which files begin: the largest cluster size from 1 to 64 KiB whose grid holds nine in ten of the starts.
/// It takes eight starts or more. `starts` are sectors where files of binary formats certainly begin, in any order.
ClusterGrid FindClusterGrid(std::span<const std::int64_t> starts, std::int64_t sectorSize);

/// Sectors in which a file system lays out clusters.
struct GridStretch {
    SectorRange sectors;
    ClusterGrid grid;
    bool operator==(const GridStretch&) const = default;
};

/// The grids of a medium. Each stretch has that of its file system, unless the files that begin in it are older than
/// the file system and lie elsewhere; the rest of the medium has the one that most starts share.
class ClusterGrids {
public:
    ClusterGrids() = default;
    /// `starts` as for `FindClusterGrid`, but ascending.
    ClusterGrids(std::vector<GridStretch> known, const std::vector<std::int64_t>& starts, std::int64_t sectorSize);

    const ClusterGrid& At(std::int64_t sector) const;

private:
    // Ascending, without overlaps.
    std::vector<GridStretch> stretches_;
    ClusterGrid elsewhere_;
};

/// True if the last clusters of files are filled with zeros: after at most one of eight whole files there is something
/// else. `ends` are where whole files end, in bytes, in any order; a few hundred of them are read.
bool IsSlackClean(Medium& medium, std::span<const std::int64_t> ends, const ClusterGrids& grids);

}  // namespace salvor
