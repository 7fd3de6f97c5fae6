#include "host/validators/place.h"

#include <algorithm>

namespace salvor {

namespace {

// The least number of bytes to read, since neighbouring bytes are usually wanted together. It starts small, because
// most places are decided by their first bytes.
constexpr std::int64_t FirstRead = 0x2000;
constexpr std::int64_t LargestLeastRead = 0x10000;

}  // namespace

Place::Place(Medium& medium, std::int64_t startSector, const Neighbours& neighbours, ReadAllowance& allowance)
    : ByteWindow(medium.SizeInBytes() - startSector * medium.SectorSize()),
      medium_(medium),
      startSector_(startSector),
      neighbours_(neighbours),
      allowance_(allowance),
      leastRead_(FirstRead) {}

std::int64_t Place::NextStart(std::int64_t offset) const { return Next(neighbours_.starts, offset); }

std::int64_t Place::NextWhole(std::int64_t offset) const { return Next(neighbours_.wholes, offset); }

std::int64_t Place::ClusterBytes() const {
    const ClusterGrid& grid = neighbours_.grid;
    return grid.sectorsPerCluster > 1 && grid.Holds(startSector_) ? grid.sectorsPerCluster * SectorSize() : 0;
}

std::int64_t Place::Next(const std::vector<std::int64_t>& sectors, std::int64_t offset) const {
    const std::int64_t sectorSize = SectorSize();
    const std::int64_t first = offset <= 0 ? 1 : offset / sectorSize + (offset % sectorSize != 0 ? 1 : 0);
    const auto next = std::ranges::lower_bound(sectors, startSector_ + std::max<std::int64_t>(first, 1));
    return next == sectors.end() ? Limit() : std::min((*next - startSector_) * sectorSize, Limit());
}

ByteSpan Place::LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) {
    ByteSpan held = PartFrom(buffer_, bufferStart_, offset);
    if (held.size() < wanted) {
        const std::int64_t sectorSize = SectorSize();
        const std::int64_t first = offset / sectorSize;
        const std::int64_t end =
            std::min(std::max(offset + static_cast<std::int64_t>(length), first * sectorSize + leastRead_), Limit());
        const std::int64_t count = (end - 1) / sectorSize + 1 - first;
        allowance_.Take(count * sectorSize);
        if (allowance_.IsUsedUp()) {
            return {};
        }
        leastRead_ = std::min(2 * leastRead_, LargestLeastRead);
        buffer_.resize(static_cast<std::size_t>(count * sectorSize));
        medium_.Read(startSector_ + first, buffer_.data(), count);
        bufferStart_ = first * sectorSize;
        areNotesDue_ = notes_ != nullptr && notes_->AreDue();
        held = PartFrom(ByteSpan(buffer_).first(static_cast<std::size_t>(end - bufferStart_)), bufferStart_, offset);
    }
    return held.first(std::min(held.size(), static_cast<std::size_t>(Limit() - offset)));
}

}  // namespace salvor
