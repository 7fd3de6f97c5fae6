#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "host/medium/raw_device.h"
#include "host/medium/sector_ranges.h"

namespace salvor {

/// The sector sizes in bytes that media have.
inline constexpr std::int32_t SmallestSectorSize = 512;
inline constexpr std::int32_t LargestSectorSize = 4096;

/// The medium as sectors, counted from 0. Reads always fill their buffer: sectors that cannot be read are tried again
/// one by one, given as zeros and remembered; bytes in front of the medium and behind its end are zeros. Reads may come
/// from several threads.
class Medium {
public:
    /// `sectorSize` in bytes, from `SmallestSectorSize` to `LargestSectorSize`.
    Medium(std::unique_ptr<RawDevice> device, std::int32_t sectorSize);

    std::int64_t SizeInBytes() const { return sizeInBytes_; }
    std::int32_t SectorSize() const { return sectorSize_; }
    /// A last sector that the medium fills in part counts as one.
    std::int64_t SectorCount() const { return sectorCount_; }
    std::optional<int> CopySource() const { return device_->CopySource(); }

    /// Fills `buffer` with `count` whole sectors from `firstSector` on.
    void Read(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count);

    /// The sectors that could not be read so far.
    SectorRangeSet Unreadable() const;
    bool HoldsUnreadable(SectorRange range) const;
    /// Those that were added since the last call.
    SectorRangeSet TakeNewlyUnreadable();

private:
    void ReadInside(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count);
    void ReadOneByOne(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count);
    std::size_t BytesOf(std::int64_t firstSector, std::int64_t count) const;
    void NoteUnreadable(std::int64_t sector);

    std::unique_ptr<RawDevice> device_;
    std::int32_t sectorSize_;
    std::int64_t sizeInBytes_;
    std::int64_t sectorCount_;
    mutable std::mutex mutex_;
    SectorRangeSet unreadable_;
    SectorRangeSet newlyUnreadable_;
};

}  // namespace salvor
