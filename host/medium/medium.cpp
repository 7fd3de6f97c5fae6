#include "host/medium/medium.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace salvor {

Medium::Medium(std::unique_ptr<RawDevice> device, std::int32_t sectorSize)
    : device_(std::move(device)),
      sectorSize_(sectorSize),
      sizeInBytes_(device_->Size()),
      sectorCount_(sizeInBytes_ / sectorSize + (sizeInBytes_ % sectorSize != 0 ? 1 : 0)) {}

void Medium::Read(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count) {
    // The part inside the medium, found without a sum that could leave the 64-bit range.
    const std::int64_t before = firstSector >= 0 ? 0 : (firstSector < -count ? count : -firstSector);
    const std::int64_t first = firstSector + before;
    const std::int64_t inside =
        first >= sectorCount_ || before == count ? 0 : std::min(count - before, sectorCount_ - first);
    const auto size = static_cast<std::size_t>(sectorSize_);
    std::memset(buffer, 0, static_cast<std::size_t>(before) * size);
    std::uint8_t* const out = buffer + static_cast<std::size_t>(before) * size;
    if (inside > 0) {
        ReadInside(first, out, inside);
    }
    std::memset(out + static_cast<std::size_t>(inside) * size, 0,
                static_cast<std::size_t>(count - before - inside) * size);
}

SectorRangeSet Medium::Unreadable() const {
    const std::lock_guard lock(mutex_);
    return unreadable_;
}

bool Medium::HoldsUnreadable(SectorRange range) const {
    const std::lock_guard lock(mutex_);
    return unreadable_.Intersects(range);
}

SectorRangeSet Medium::TakeNewlyUnreadable() {
    const std::lock_guard lock(mutex_);
    return std::exchange(newlyUnreadable_, {});
}

void Medium::ReadInside(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count) {
    const auto size = static_cast<std::size_t>(sectorSize_);
    const std::size_t wanted = BytesOf(firstSector, count);
    std::int64_t wholeSectors = 0;
    if (!HoldsUnreadable({firstSector, count})) {
        const std::size_t got = device_->ReadAt(firstSector * sectorSize_, buffer, wanted);
        // The last sector of the medium may be a partial one.
        wholeSectors = got == wanted ? count : static_cast<std::int64_t>(got / size);
        if (got == wanted) {
            std::memset(buffer + wanted, 0, static_cast<std::size_t>(count) * size - wanted);
        }
    }
    ReadOneByOne(firstSector + wholeSectors, buffer + static_cast<std::size_t>(wholeSectors) * size,
                 count - wholeSectors);
}

void Medium::ReadOneByOne(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count) {
    const auto size = static_cast<std::size_t>(sectorSize_);
    for (std::int64_t i = 0; i < count; ++i) {
        const std::int64_t sector = firstSector + i;
        std::uint8_t* const out = buffer + static_cast<std::size_t>(i) * size;
        const std::size_t wanted = BytesOf(sector, 1);
        std::memset(out + wanted, 0, size - wanted);
        if (HoldsUnreadable({sector, 1})) {
            std::memset(out, 0, wanted);
        } else if (!device_->ReadAgain(sector * sectorSize_, out, wanted)) {
            std::memset(out, 0, wanted);
            NoteUnreadable(sector);
        }
    }
}

// Bytes that these sectors have on the medium; its last sector may be a partial one.
std::size_t Medium::BytesOf(std::int64_t firstSector, std::int64_t count) const {
    const std::int64_t from = firstSector * sectorSize_;
    return static_cast<std::size_t>(std::min(count * sectorSize_, sizeInBytes_ - from));
}

void Medium::NoteUnreadable(std::int64_t sector) {
    const std::lock_guard lock(mutex_);
    unreadable_.Add({sector, 1});
    newlyUnreadable_.Add({sector, 1});
}

}  // namespace salvor
