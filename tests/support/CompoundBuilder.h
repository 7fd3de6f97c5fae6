#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "tests/support/Medium.h"

namespace test {

using Names = std::vector<std::string>;

/// A kind of compound file: the streams that make it one, and the types that report it.
struct CompoundKind {
    const char* name;
    std::int32_t number;
    /// One of these,
    Names anyOf;
    /// and each of these.
    Names allOf;
    std::vector<std::int32_t> types;
};
/// In the order in which the rules are tried.
const std::vector<CompoundKind>& CompoundKinds();

struct CompoundEntry {
    /// Empty for a place that is not used.
    std::string name;
    std::uint32_t size = 0;
    std::uint8_t colour = 1;
    std::uint8_t objectType = 2;
    Bytes classId = Bytes(16);
};

/// What a compound file holds. Its sectors are, in this order: FAT, DIFAT, MiniFAT, directory, streams.
struct CompoundPlan {
    /// The first one is the root.
    std::vector<CompoundEntry> entries{{"Root Entry", 0, 1, 5}};
    /// From 3 on, so that a FAT sector has room for more than itself.
    unsigned sectorShift = 9;
    std::uint32_t difatSectors = 0;
    std::uint32_t miniFatSectors = 0;
    /// More FAT sectors than the file needs.
    std::uint32_t spareFatSectors = 0;
};

class CompoundFile {
public:
    explicit CompoundFile(const CompoundPlan& plan);

    Bytes bytes;
    /// Offsets of the directory's sectors, of the words of the FAT and of the DIFAT's words after the header.
    std::vector<std::size_t> directory;
    std::vector<std::size_t> fat;
    std::vector<std::size_t> difat;
    std::uint32_t sectorSize;
    std::uint32_t firstDirectorySector;

    CompoundFile& Set16(std::size_t offset, std::uint32_t value) { return Set(offset, value, 2); }
    CompoundFile& Set32(std::size_t offset, std::uint32_t value) { return Set(offset, value, 4); }

private:
    CompoundFile& Set(std::size_t offset, std::uint32_t value, std::size_t width);
    std::uint32_t SectorsOf(std::size_t size) const {
        return static_cast<std::uint32_t>((size + sectorSize - 1) / sectorSize);
    }
    std::size_t OffsetOf(std::uint32_t sector) const { return (std::size_t{sector} + 1) * sectorSize; }
    /// Makes room for everything, with the FAT at its place.
    void Allocate(const CompoundPlan& plan);
    /// Takes the next sectors and links them in the FAT; gives the first.
    std::uint32_t Chain(std::uint32_t count);
    /// Writes the FAT's next sector into its list.
    void ListFatSector(std::size_t offset);
    void WriteDifat(std::uint32_t first, std::uint32_t sectors);
    void WriteEntry(std::size_t at, const CompoundEntry& entry);

    // Sectors that begin inside the header, if they are smaller.
    std::uint32_t hidden_;
    std::uint32_t fatSectors_ = 0;
    std::uint32_t listed_ = 0;
    std::uint32_t next_ = 0;
};

/// A plan with these streams of some hundred bytes each.
CompoundPlan PlanWith(std::initializer_list<Names> streams);

/// An ordinary file of a kind, by its number.
Bytes CompoundFileOf(std::int32_t kind);

/// The rules of the compound types written out plainly, for a file that is followed by endless zeros: its kind and its
/// estimated size.
struct CompoundVerdict {
    std::int32_t kind;
    std::uint32_t size;
};
CompoundVerdict ReferenceCompound(ByteSpan file);
std::int64_t ReferenceCompoundSize(const Bytes& file);

}  // namespace test
