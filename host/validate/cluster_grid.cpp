#include "host/validate/cluster_grid.h"

#include <algorithm>
#include <utility>

namespace salvor {

namespace {

constexpr std::size_t LeastStarts = 8;

// The rest are strays, which lie anywhere.
bool IsNearlyAll(std::size_t count, std::size_t of) { return count * 10 >= of * 9; }

constexpr std::size_t MostEnds = 256;
constexpr std::int64_t LeastClusterBytes = 0x400;
constexpr std::int64_t MostClusterBytes = 0x10000;

struct Crowd {
    std::int64_t phase = 0;
    std::size_t count = 0;
};

Crowd LargestCrowd(std::span<const std::int64_t> starts, std::int64_t sectorsPerCluster) {
    std::vector<std::size_t> counts(static_cast<std::size_t>(sectorsPerCluster));
    for (const std::int64_t start : starts) {
        ++counts[static_cast<std::size_t>(start % sectorsPerCluster)];
    }
    const auto most = std::ranges::max_element(counts);
    return {most - counts.begin(), *most};
}

}  // namespace

ClusterGrid FindClusterGrid(std::span<const std::int64_t> starts, std::int64_t sectorSize) {
    ClusterGrid grid;
    if (starts.size() < LeastStarts) {
        return grid;
    }
    std::size_t lastCount = starts.size();
    for (std::int64_t sectors = 2; sectors * sectorSize <= MostClusterBytes; sectors *= 2) {
        const Crowd crowd = LargestCrowd(starts, sectors);
        // Starts off the larger grid should be strays, which are anywhere. If they are on the smaller grid, that one is
        // the file system's, and large files merely happen to begin at round offsets.
        const std::size_t lost = lastCount - crowd.count;
        const bool isSmallerOne = grid.sectorsPerCluster > 1 && lost * 32 > starts.size();
        if (!IsNearlyAll(crowd.count, starts.size()) || isSmallerOne) {
            break;
        }
        if (sectors * sectorSize >= LeastClusterBytes) {
            grid = {sectors, crowd.phase};
        }
        lastCount = crowd.count;
    }
    return grid;
}

ClusterGrids::ClusterGrids(std::vector<GridStretch> known, const std::vector<std::int64_t>& starts,
                           std::int64_t sectorSize) {
    std::ranges::stable_sort(known, {}, [](const GridStretch& stretch) { return stretch.sectors.first; });
    std::vector<std::int64_t> others;
    auto next = starts.begin();
    std::int64_t end = 0;
    for (GridStretch& stretch : known) {
        const SectorRange& sectors = stretch.sectors;
        if (sectors.first < end) {
            // A wrong partition table may have volumes that overlap.
            continue;
        }
        end = sectors.first + sectors.count;
        const auto reached = std::lower_bound(next, starts.end(), sectors.first);
        others.insert(others.end(), next, reached);
        next = std::lower_bound(reached, starts.end(), end);
        const std::span<const std::int64_t> inside(reached, next);
        const auto held = std::ranges::count_if(inside, [&](std::int64_t start) { return stretch.grid.Holds(start); });
        if (inside.size() >= LeastStarts && !IsNearlyAll(static_cast<std::size_t>(held), inside.size())) {
            stretch.grid = FindClusterGrid(inside, sectorSize);
        }
        stretches_.push_back(stretch);
    }
    others.insert(others.end(), next, starts.end());
    elsewhere_ = FindClusterGrid(others, sectorSize);
}

const ClusterGrid& ClusterGrids::At(std::int64_t sector) const {
    const auto after = std::ranges::upper_bound(stretches_, sector, {},
                                                [](const GridStretch& stretch) { return stretch.sectors.first; });
    if (after != stretches_.begin()) {
        const GridStretch& stretch = *std::prev(after);
        if (sector - stretch.sectors.first < stretch.sectors.count) {
            return stretch.grid;
        }
    }
    return elsewhere_;
}

bool IsSlackClean(Medium& medium, std::span<const std::int64_t> ends, const ClusterGrids& grids) {
    const std::int64_t sectorSize = medium.SectorSize();
    const std::size_t step = ends.size() / MostEnds + 1;
    std::vector<std::uint8_t> sector(static_cast<std::size_t>(sectorSize));
    std::size_t seen = 0;
    std::size_t dirty = 0;
    for (std::size_t i = 0; i < ends.size(); i += step) {
        const ClusterGrid& grid = grids.At(ends[i] / sectorSize);
        const std::int64_t past = (ends[i] - grid.phase * sectorSize) % (grid.sectorsPerCluster * sectorSize);
        // A file that ends before the first cluster has no last one.
        if (past <= 0 || ends[i] / sectorSize >= medium.SectorCount()) {
            continue;
        }
        // The last sector of the cluster: some systems fill the file's own last sector with zeros, and no others.
        const std::int64_t last = ends[i] / sectorSize + grid.sectorsPerCluster - 1 - past / sectorSize;
        const auto from = static_cast<std::ptrdiff_t>(last == ends[i] / sectorSize ? ends[i] % sectorSize : 0);
        medium.Read(last, sector.data(), 1);
        const bool isClean =
            std::all_of(sector.begin() + from, sector.end(), [](std::uint8_t byte) { return byte == 0; });
        ++seen;
        dirty += isClean ? 0U : 1U;
    }
    return seen >= LeastStarts && dirty * 8 <= seen;
}

}  // namespace salvor
