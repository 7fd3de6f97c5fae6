#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "frame/contract/SectorBlock.h"
#include "frame/read/Budget.h"
#include "frame/read/KFileSimulator.h"

/// The structure of one candidate compound file: which streams its directory names, and about how long it is. Source:
/// [MS-CFB], Compound File Binary File Format.
///
/// Of everything that the file declares, only the numbers of its FAT sectors are stored (32 KiB). The FAT is read word
/// by word where the directory's chain needs it. Of the MiniFAT, the directory and the rest of the DIFAT, only counts
/// and sums are kept. A directory chain that loops is counted to its bound without walking it.
///
/// The budget ends a parse that is longer than any real file's: from there on all bytes read as zeros, as they do past
/// the medium's end, and zeros end every chain.
class CompoundReader {
public:
    /// Parses the candidate that begins at `startSector`. `streamNames` are the names to look for, at most 32 of less
    /// than 32 ASCII characters each. The last read may exceed the budget by 64 KiB. The block and the budget
    /// are borrowed.
    CompoundReader(const SectorBlock& block, std::int64_t startSector, std::span<const std::string_view> streamNames,
                   Budget& budget);
    CompoundReader(const CompoundReader&) = delete;
    CompoundReader& operator=(const CompoundReader&) = delete;

    /// Bit i is set if an entry of the directory has the name `streamNames[i]`, in any case of its ASCII letters.
    std::uint32_t Streams() const { return streams_; }

    /// True if the first entry of the directory, normally the root, has this class identifier.
    bool IsOfClass(const Pattern<16>& classId) const { return hasFirstEntry_ && classId_ == classId; }

    /// In bytes, rounded up to whole sectors and modulo 2^32; 0 for a candidate whose header is not accepted.
    std::uint32_t EstimatedSize() const { return estimatedSize_; }

private:
    // The state of the directory's walk before one of its sectors.
    struct WalkMark {
        std::uint64_t visit;
        std::uint32_t sector;
        std::uint32_t rootStreamSize;
        std::uint32_t entryCount;
        std::uint32_t streamBytes;
    };
    enum class Entry { Empty, Valid, Invalid };

    void ReadAt(KFileSimulator& file, std::uint64_t position, std::span<std::uint8_t> out);
    std::uint32_t WordAt(std::uint64_t position);

    std::uint32_t WordsPerSector() const { return sectorSize_ / 4; }
    std::uint64_t PositionOf(std::uint32_t sector) const { return (std::uint64_t{sector} + 1) * sectorSize_; }
    std::uint32_t LargestSector() const { return 0x7FFFFFFFU / sectorSize_; }
    std::uint32_t FatWord(std::uint32_t index);
    std::uint32_t RoundUp(std::uint32_t size) const { return (size + sectorSize_ - 1) / sectorSize_ * sectorSize_; }

    void ReadDifat(ByteSpan header);
    void TakeFatSectors(std::uint32_t difatSector, std::size_t wanted);
    void CountMiniFat(ByteSpan header);
    void WalkDirectory(ByteSpan header);
    bool ReadDirectorySector(std::uint32_t sector);
    Entry TakeEntry(ByteSpan entry);
    std::uint32_t EstimateSize() const;

    Budget& budget_;
    // Separate readers, because the walk alternates between directory and FAT. Each has a cache of 32 KiB.
    std::unique_ptr<KFileSimulator> directoryFile_;
    std::unique_ptr<KFileSimulator> fatFile_;

    std::span<const std::string_view> streamNames_;
    std::uint32_t streams_ = 0;

    std::uint32_t sectorSize_ = 512;
    std::vector<std::uint32_t> fatSectors_;
    // Words of the DIFAT sectors, of the FAT and of the MiniFAT.
    std::uint32_t difatWords_ = 0;
    std::uint32_t fatWords_ = 0;
    std::uint32_t miniFatWords_ = 0;

    // For the valid directory entries: their number, the sum of the stream sizes in whole sectors, the first entry's
    // class.
    std::uint32_t entryCount_ = 0;
    std::uint32_t streamBytes_ = 0;
    Pattern<16> classId_{};
    bool hasFirstEntry_ = false;
    std::uint32_t rootStreamSize_ = 0;
    bool hasInvalidEntry_ = false;

    std::uint32_t estimatedSize_ = 0;
};
