#include "host/volumes/volume_grids.h"

#include <algorithm>
#include <optional>

namespace salvor {

namespace {

// Free space has one stretch per volume, unless its pieces are not whole clusters, as on a hostile medium.
constexpr std::size_t MostStretches = 1024;

std::vector<GridStretch> GridsOnImage(const std::vector<Volume>& volumes, std::int32_t sectorSize) {
    constexpr std::int64_t largestCluster = std::int64_t{64} << 20U;
    std::vector<GridStretch> grids;
    for (const Volume& volume : volumes) {
        const std::int64_t sectors = volume.clusterBytes / sectorSize;
        if (volume.isReadable && sectors > 0 && volume.clusterBytes <= largestCluster &&
            volume.clusterBytes % sectorSize == 0 && volume.firstCluster >= 0) {
            grids.push_back({volume.sectors, {sectors, volume.firstCluster % sectors}});
        }
    }
    return grids;
}

// The grid of a piece of the medium that begins at sector `first` of the space; nothing if it holds no whole cluster,
// as slack does not.
std::optional<GridStretch> GridOfPiece(const std::vector<GridStretch>& onImage, SectorRange piece, std::int64_t first) {
    const auto at = std::ranges::find_if(onImage, [&](const GridStretch& one) {
        return piece.first >= one.sectors.first && piece.first - one.sectors.first < one.sectors.count;
    });
    if (at == onImage.end()) {
        return std::nullopt;
    }
    const std::int64_t cluster = at->grid.sectorsPerCluster;
    const std::int64_t toCluster = (at->grid.phase - piece.first % cluster + cluster) % cluster;
    if (piece.count - toCluster < cluster) {
        return std::nullopt;
    }
    return GridStretch{{first, piece.count}, {cluster, (first + toCluster) % cluster}};
}

// The same in the sectors of the space.
std::vector<GridStretch> GridsInSpace(const std::vector<GridStretch>& onImage, const Space& space) {
    std::vector<GridStretch> grids;
    std::int64_t offset = 0;
    for (std::size_t i = 0; i < space.PieceCount() && grids.size() < MostStretches; ++i) {
        const Extent piece = space.PieceAt(i);
        const std::int64_t first = offset / space.SectorSize();
        const std::int64_t count = piece.bytes / space.SectorSize();
        offset += piece.bytes;
        const auto stretch =
            piece.startSector == Space::Gap ? std::nullopt : GridOfPiece(onImage, {piece.startSector, count}, first);
        if (stretch) {
            GridStretch* const last = grids.empty() ? nullptr : &grids.back();
            if (last != nullptr && last->grid == stretch->grid && last->sectors.first + last->sectors.count == first) {
                last->sectors.count += count;
            } else {
                grids.push_back(*stretch);
            }
        }
    }
    return grids;
}

}  // namespace

std::vector<GridStretch> GridsOf(const std::vector<Volume>& volumes, const ScanMedium& scanned) {
    std::vector<GridStretch> grids = GridsOnImage(volumes, scanned.Image().SectorSize());
    return scanned.Joins() ? GridsInSpace(grids, *scanned.Joins()) : grids;
}

}  // namespace salvor
