#include "host/volumes/free_space.h"

#include <algorithm>
#include <utility>

namespace salvor {

namespace {

// The largest cluster size for which files are looked for.
constexpr std::int64_t IslandBytes = std::int64_t{64} << 10U;

// Sorts the ranges and joins those that touch or overlap.
std::vector<SectorRange> Merged(std::vector<SectorRange> ranges) {
    std::ranges::sort(ranges, {}, &SectorRange::first);
    std::size_t last = 0;
    for (std::size_t i = 1; i < ranges.size(); ++i) {
        const std::int64_t end = ranges[last].first + ranges[last].count;
        if (ranges[i].first <= end) {
            ranges[last].count = std::max(end, ranges[i].first + ranges[i].count) - ranges[last].first;
        } else {
            ranges[++last] = ranges[i];
        }
    }
    ranges.resize(std::min(ranges.size(), last + 1));
    return ranges;
}

class SpaceMaker {
public:
    SpaceMaker(const Knowledge& knowledge, SpaceKind kind, SectorRange range, const Medium& medium)
        : knowledge_(knowledge),
          range_(range),
          mediumBytes_(medium.SizeInBytes()),
          sectorSize_(medium.SectorSize()),
          used_(Merged(knowledge.used)),
          space_(std::make_shared<Space>(medium.SectorSize(), medium.SizeInBytes(), kind)) {}

    std::shared_ptr<const Space> Make() {
        const std::vector<std::int64_t> borders = Borders();
        for (std::size_t i = 0; i + 1 < borders.size(); ++i) {
            AddIsland(borders[i], borders[i + 1]);
        }
        if (space_->Kind() == SpaceKind::FreeAndSlack) {
            AddSlack();
        }
        return space_;
    }

private:
    // The starts and ends of the range and of the volumes in it.
    std::vector<std::int64_t> Borders() const {
        std::vector<std::int64_t> borders{range_.first, range_.first + range_.count};
        for (const Volume& volume : knowledge_.volumes) {
            for (const std::int64_t sector : {volume.sectors.first, volume.sectors.first + volume.sectors.count}) {
                if (sector > range_.first && sector < range_.first + range_.count) {
                    borders.push_back(sector);
                }
            }
        }
        std::ranges::sort(borders);
        borders.erase(std::unique(borders.begin(), borders.end()), borders.end());
        return borders;
    }

    // Adds the free sectors among these.
    void AddIsland(std::int64_t first, std::int64_t end) {
        isIslandBegun_ = false;
        for (; nextUsed_ < used_.size() && used_[nextUsed_].first < end; ++nextUsed_) {
            const SectorRange& used = used_[nextUsed_];
            AddFree(first, used.first);
            first = std::max(first, used.first + used.count);
            if (first > end) {
                // The rest of the used range is in the next island.
                return;
            }
        }
        AddFree(first, end);
    }

    void AddFree(std::int64_t first, std::int64_t end) {
        if (first >= end || IsFull()) {
            return;
        }
        if (!std::exchange(isIslandBegun_, true) && space_->PieceCount() > 0) {
            const std::int64_t at = space_->SectorCount();
            const std::int64_t step = std::max<std::int64_t>(IslandBytes / sectorSize_, 1);
            space_->AddGap((at / step + 1) * step - at);
        }
        AddPiece(first, end);
    }

    void AddSlack() {
        std::size_t next = 0;
        for (const SectorRange& slack : Merged(knowledge_.slack)) {
            // Slack must lie in used sectors, but a file system may claim anything.
            while (next < used_.size() && used_[next].first + used_[next].count <= slack.first) {
                ++next;
            }
            const SectorRange used = next < used_.size() ? used_[next] : SectorRange{};
            const std::int64_t first = std::max({slack.first, used.first, range_.first});
            const std::int64_t end =
                std::min({slack.first + slack.count, used.first + used.count, range_.first + range_.count});
            if (first < end && !IsFull()) {
                if (space_->PieceCount() > 0) {
                    space_->AddGap(1);
                }
                AddPiece(first, end);
            }
        }
    }

    // The medium's last sector may be partial.
    void AddPiece(std::int64_t first, std::int64_t end) {
        space_->Add({first, std::min(end * sectorSize_, mediumBytes_) - first * sectorSize_});
    }

    bool IsFull() const { return space_->PieceCount() >= MostPieces; }

    const Knowledge& knowledge_;
    SectorRange range_;
    std::int64_t mediumBytes_;
    std::int64_t sectorSize_;
    std::vector<SectorRange> used_;
    std::size_t nextUsed_ = 0;
    bool isIslandBegun_ = false;
    std::shared_ptr<Space> space_;
};

// The extents of a file in sectors of the space, up to the first that is not in it; holes stay.
std::vector<Extent> InSpace(const std::vector<Extent>& extents, const SpaceIndex& index, std::int64_t sectorSize) {
    std::vector<Extent> joined;
    for (const Extent& extent : extents) {
        if (extent.IsHole()) {
            joined.push_back(extent);
            continue;
        }
        for (std::int64_t done = 0; done < extent.bytes;) {
            const std::int64_t left = extent.bytes - done;
            const SectorRange there =
                index.StretchAt({extent.startSector + done / sectorSize, (left + sectorSize - 1) / sectorSize});
            if (there.count == 0) {
                return joined;
            }
            const std::int64_t bytes = std::min(left, there.count * sectorSize);
            done += bytes;
            Append(joined, {there.first, bytes}, sectorSize);
        }
    }
    return joined;
}

}  // namespace

std::shared_ptr<const Space> SpaceOf(const Knowledge& knowledge, SpaceKind kind, SectorRange range,
                                     const Medium& medium) {
    return SpaceMaker(knowledge, kind, range, medium).Make();
}

std::vector<KnownFile> FilesInSpace(std::vector<KnownFile> files, const Space& space) {
    const SpaceIndex index(space);
    std::erase_if(files, [&](KnownFile& file) {
        const std::int64_t bytes = BytesOf(file.extents);
        file.extents = InSpace(file.extents, index, space.SectorSize());
        file.isComplete = file.isComplete && BytesOf(file.extents) == bytes;
        return !file.isDeleted || file.extents.empty();
    });
    return files;
}

}  // namespace salvor
