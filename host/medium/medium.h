#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/medium/medium_source.h"
#include "host/medium/sector_ranges.h"

namespace salvor {

/// The sector sizes in bytes that media have.
inline constexpr std::int32_t SmallestSectorSize = 512;
inline constexpr std::int32_t LargestSectorSize = 4096;

/// What to do when reads fail.
struct FailurePolicy {
    /// Do not try the sectors between the edges of a bad stretch.
    bool skipInside = false;
    /// Asked before each further try.
    std::function<bool()> stopRequested = [] {
        return false;
    };
};

/// The medium as sectors, counted from 0. Reads always fill their buffer. When one fails, a few more tries find out
/// which sectors are unreadable; those read as zeros, are remembered, and are not tried again. Bytes before the medium
/// and after its end are zeros. Calls may come from several threads.
class Medium {
public:
    /// `sectorSize` in bytes, from `SmallestSectorSize` to `LargestSectorSize`.
    Medium(std::unique_ptr<MediumSource> source, std::int32_t sectorSize, FailurePolicy policy = {});

    std::int64_t SizeInBytes() const { return sizeInBytes_; }
    std::int32_t SectorSize() const { return sectorSize_; }
    /// Counts a partial last sector.
    std::int64_t SectorCount() const { return sectorCount_; }
    /// The paths of all files that the medium is read from.
    std::vector<std::string> Files() const { return source_->Files(); }
    ImageFormat Format() const { return source_->Format(); }
    /// The unit in bytes in which the source reads or fails.
    std::int32_t SourceSectorSize() const { return source_->SectorSize(); }
    std::optional<int> CopySource() const { return source_->CopySource(); }
    std::vector<int> Descriptors() const { return source_->Descriptors(); }
    bool SkipsInside() const { return policy_.skipInside; }

    /// Fills `buffer` with `count` whole sectors from `firstSector` on.
    void Read(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count);

    /// True once a read was given up because a stop was requested. From then on missing bytes read as zeros, and
    /// conclusions from them are worthless.
    bool IsInterrupted() const { return isInterrupted_; }

    /// How many sectors from this one on are known to be zeros without reading them. `sector` is on the medium.
    std::int64_t ZeroSectorsFrom(std::int64_t sector);

    /// The sectors that could not be read so far.
    SectorRangeSet Unreadable() const;
    bool HoldsUnreadable(SectorRange range) const;
    /// Which bytes of these pieces of the medium, joined in order, have turned out to be unreadable so far: offsets
    /// from the first piece's start, ascending.
    std::vector<ByteRange> UnreadableIn(std::span<const ByteRange> pieces) const;
    /// The sectors that reading has added since the last call.
    SectorRangeSet TakeNewlyUnreadable();
    /// Takes over what an earlier run found.
    void NoteUnreadable(const std::vector<SectorRange>& ranges);

private:
    // Consecutive sectors that are treated alike.
    struct Stretch {
        std::int64_t count = 0;
        // Unreadable, or known to be zeros.
        bool isBlank = false;
        bool isBehindUnreadable = false;
        bool isBeforeUnreadable = false;
    };

    void ReadInside(std::int64_t firstSector, std::uint8_t* buffer, std::int64_t count);
    void AskWhatIsStored(std::int64_t sector);
    Stretch StretchFrom(std::int64_t first, std::int64_t end);
    std::int64_t ReadStretch(std::int64_t first, const Stretch& stretch, std::uint8_t* buffer);
    std::int64_t ReadOneByOne(std::int64_t first, std::int64_t end, std::uint8_t* buffer);
    std::int64_t ReadUnit(std::int64_t unit);
    SectorRange SectorsOf(SectorRange units) const;
    bool CanRead(std::int64_t unit);
    void FindUnreadable(std::int64_t unit);
    std::int64_t PageEnd(std::int64_t sector) const;
    std::size_t BytesOf(std::int64_t firstSector, std::int64_t count) const;

    std::unique_ptr<MediumSource> source_;
    std::int32_t sectorSize_;
    std::int64_t sizeInBytes_;
    std::int64_t sectorCount_;
    FailurePolicy policy_;
    std::atomic<bool> isInterrupted_ = false;

    mutable std::mutex mutex_;
    SectorRangeSet unreadable_;
    SectorRangeSet newlyUnreadable_;
    // What the source has said so far: sectors known to be zeros, each run up to the data behind it, and all others.
    // Asking may take as long as reading, so that it is asked about no part twice.
    SectorRangeSet zeros_;
    SectorRangeSet data_;

    // Held while one thread looks for unreadable sectors, so that no other thread tries the same ones.
    std::mutex searchMutex_;
    // The unit in which the source reads, in sectors, and the bytes of one unit.
    std::int64_t unitSectors_;
    std::vector<std::uint8_t> unit_;
};

}  // namespace salvor
