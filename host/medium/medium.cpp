#include "host/medium/medium.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "host/medium/bad_stretch.h"

namespace salvor {

namespace {

// The unit in which the system reads and caches: a bad sector makes the rest of its page unreadable too.
constexpr std::int64_t PageBytes = 4096;

}  // namespace

Medium::Medium(std::unique_ptr<MediumSource> source, std::int32_t sectorSize, FailurePolicy policy)
    : source_(std::move(source)),
      sectorSize_(sectorSize),
      sizeInBytes_(source_->Size()),
      sectorCount_(sizeInBytes_ / sectorSize + (sizeInBytes_ % sectorSize != 0 ? 1 : 0)),
      policy_(std::move(policy)),
      unitSectors_(source_->SectorSize() % sectorSize == 0 ? source_->SectorSize() / sectorSize : 1),
      unit_(static_cast<std::size_t>(unitSectors_ * sectorSize)) {}

void Medium::Read(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count) {
    // The part on the medium, computed without a sum that could leave the 64-bit range.
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

std::vector<ByteRange> Medium::UnreadableIn(std::span<const ByteRange> pieces) const {
    const std::lock_guard lock(mutex_);
    std::vector<ByteRange> missing;
    std::int64_t offset = 0;
    for (const ByteRange& piece : pieces) {
        const std::int64_t end = piece.first + piece.count;
        for (std::int64_t at = piece.first; at < end;) {
            const SectorRange bad = unreadable_.NextFrom(at / sectorSize_);
            const std::int64_t from = std::max(bad.first * sectorSize_, at);
            if (bad.count == 0 || from >= end) {
                break;
            }
            at = std::min((bad.first + bad.count) * sectorSize_, end);
            missing.push_back({offset + from - piece.first, at - from});
        }
        offset += piece.count;
    }
    return missing;
}

SectorRangeSet Medium::TakeNewlyUnreadable() {
    const std::lock_guard lock(mutex_);
    return std::exchange(newlyUnreadable_, {});
}

void Medium::NoteUnreadable(const std::vector<SectorRange>& ranges) {
    const std::lock_guard lock(mutex_);
    for (const SectorRange& range : ranges) {
        const std::int64_t first = std::max<std::int64_t>(range.first, 0);
        if (first < sectorCount_ && range.count > 0) {
            unreadable_.Add({first, std::min(range.count - (first - range.first), sectorCount_ - first)});
        }
    }
    if (unreadable_.SectorCount() > 0) {
        source_->ExpectFailures();
    }
}

std::int64_t Medium::ZeroSectorsFrom(std::int64_t sector) {
    const std::lock_guard lock(mutex_);
    if (!data_.Contains(sector) && !zeros_.Contains(sector)) {
        AskWhatIsStored(sector);
    }
    const SectorRange zeros = zeros_.NextFrom(sector);
    return zeros.count > 0 && zeros.first <= sector ? zeros.first + zeros.count - sector : 0;
}

// Takes the source's answer about a sector and those after it. Where a sector is stored in part, it counts as stored.
void Medium::AskWhatIsStored(std::int64_t sector) {
    constexpr std::size_t mostRanges = std::size_t{1} << 16U;
    if (zeros_.RangeCount() + data_.RangeCount() > mostRanges) {
        zeros_ = {};
        data_ = {};
    }
    const ByteRange data = source_->NextData(sector * sectorSize_);
    const std::int64_t first = data.first >= sizeInBytes_ ? sectorCount_ : std::max(data.first / sectorSize_, sector);
    const std::int64_t end = (data.first + data.count + sectorSize_ - 1) / sectorSize_;
    zeros_.Add({sector, first - sector});
    data_.Add({first, std::min(std::max(end, first + 1), sectorCount_) - first});
}

void Medium::ReadInside(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count) {
    const std::int64_t end = firstSector + count;
    const auto out = [&](std::int64_t sector) {
        return buffer + (sector - firstSector) * sectorSize_;
    };
    std::int64_t at = firstSector;
    while (at < end && !isInterrupted_) {
        const Stretch stretch = StretchFrom(at, end);
        if (stretch.isBlank) {
            std::memset(out(at), 0, static_cast<std::size_t>(stretch.count * sectorSize_));
            at += stretch.count;
        } else {
            at += ReadStretch(at, stretch, out(at));
        }
    }
    // Zeros for what was not read, and for the rest of a partial last sector.
    const auto wanted = static_cast<std::int64_t>(BytesOf(firstSector, count));
    const std::int64_t done = std::min((at - firstSector) * sectorSize_, wanted);
    std::memset(buffer + done, 0, static_cast<std::size_t>(count * sectorSize_ - done));
}

Medium::Stretch Medium::StretchFrom(std::int64_t first, std::int64_t end) {
    const std::int64_t zeros = ZeroSectorsFrom(first);
    const std::lock_guard lock(mutex_);
    const SectorRange bad = unreadable_.NextFrom(first);
    if (bad.count > 0 && bad.first <= first) {
        return {std::min(bad.first + bad.count, end) - first, true};
    }
    if (zeros > 0) {
        return {std::min(first + zeros, end) - first, true};
    }
    Stretch stretch;
    stretch.isBehindUnreadable = first > 0 && first * sectorSize_ % PageBytes != 0 && unreadable_.Contains(first - 1);
    stretch.isBeforeUnreadable = bad.count > 0 && bad.first < end;
    if (stretch.isBeforeUnreadable) {
        end = bad.first;
    }
    // A sector in which the hole after the data begins is read.
    const SectorRange data = data_.NextFrom(first);
    if (data.first <= first && data.count > 0 && data.first + data.count < end) {
        end = data.first + data.count;
        stretch.isBeforeUnreadable = stretch.isBeforeUnreadable && end == bad.first;
    }
    stretch.count = end - first;
    return stretch;
}

// Reads sectors that are not known to be unreadable, up to the first that turns out to be; returns how many it has
// read.
std::int64_t Medium::ReadStretch(std::int64_t first, const Stretch& stretch, std::uint8_t* buffer) {
    const std::int64_t end = first + stretch.count;
    // Sectors that share a page with unreadable ones are read separately.
    const std::int64_t largeEnd =
        stretch.isBeforeUnreadable ? std::max(end * sectorSize_ / PageBytes * PageBytes / sectorSize_, first) : end;
    std::int64_t done = 0;
    if (!stretch.isBehindUnreadable && largeEnd > first) {
        const std::size_t wanted = BytesOf(first, largeEnd - first);
        const std::size_t got = source_->ReadAt(first * sectorSize_, buffer, wanted);
        if (got == wanted) {
            return largeEnd - first;
        }
        done = static_cast<std::int64_t>(got) / sectorSize_;
    }
    return done + ReadOneByOne(first + done, std::min(end, PageEnd(first + done)), buffer + done * sectorSize_);
}

// The same unit by unit, for sectors that share a page with unreadable ones.
std::int64_t Medium::ReadOneByOne(std::int64_t first, std::int64_t end, std::uint8_t* buffer) {
    const std::lock_guard lock(searchMutex_);
    std::int64_t at = first;
    while (at < end && !HoldsUnreadable({at, 1})) {
        const std::int64_t unit = at / unitSectors_;
        const std::int64_t inUnit = at - unit * unitSectors_;
        const std::int64_t count = std::min(ReadUnit(unit) - inUnit, end - at);
        if (count <= 0) {
            FindUnreadable(unit);
            break;
        }
        std::memcpy(buffer + (at - first) * sectorSize_, unit_.data() + inUnit * sectorSize_,
                    static_cast<std::size_t>(count * sectorSize_));
        at += count;
    }
    return at - first;
}

// Reads a unit. Returns its number of sectors, 0 if it cannot be read.
std::int64_t Medium::ReadUnit(std::int64_t unit) {
    if (isInterrupted_ || policy_.stopRequested()) {
        isInterrupted_ = true;
        return 0;
    }
    const SectorRange sectors = SectorsOf({unit, 1});
    const std::size_t wanted = BytesOf(sectors.first, sectors.count);
    const bool isRead = source_->ReadAgain(sectors.first * sectorSize_, unit_.data(), wanted) == wanted;
    return isRead ? sectors.count : 0;
}

SectorRange Medium::SectorsOf(SectorRange units) const {
    const std::int64_t first = units.first * unitSectors_;
    return {first, std::min(units.count * unitSectors_, sectorCount_ - first)};
}

// Notes the unit, which has just failed, and the unreadable ones after it.
void Medium::FindUnreadable(std::int64_t unit) {
    source_->ExpectFailures();
    const std::int64_t unitCount = (sectorCount_ + unitSectors_ - 1) / unitSectors_;
    const SectorRangeSet bad =
        FindBadStretch(unit, unitCount, policy_.skipInside, [this](std::int64_t other) { return CanRead(other); });
    if (isInterrupted_) {
        return;
    }
    const std::lock_guard lock(mutex_);
    for (const SectorRange& units : bad.Ranges()) {
        unreadable_.Add(SectorsOf(units));
        newlyUnreadable_.Add(SectorsOf(units));
    }
}

bool Medium::CanRead(std::int64_t unit) {
    const SectorRange sectors = SectorsOf({unit, 1});
    return !HoldsUnreadable(sectors) && (ZeroSectorsFrom(sectors.first) >= sectors.count || ReadUnit(unit) > 0);
}

// The first sector that begins at or after the end of this one's last page.
std::int64_t Medium::PageEnd(std::int64_t sector) const {
    const std::int64_t lastByte = (sector + 1) * sectorSize_ - 1;
    return ((lastByte / PageBytes + 1) * PageBytes - 1) / sectorSize_ + 1;
}

// The number of bytes that these sectors have on the medium, whose last sector may be partial.
std::size_t Medium::BytesOf(std::int64_t firstSector, std::int64_t count) const {
    const std::int64_t from = firstSector * sectorSize_;
    return static_cast<std::size_t>(std::min(count * sectorSize_, sizeInBytes_ - from));
}

}  // namespace salvor
