#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/medium/extent.h"
#include "host/medium/sector_ranges.h"
#include "host/platform/file_descriptor.h"

namespace salvor {

/// Which part of a medium to look at.
enum class SpaceKind {
    All,
    /// Sectors that no file system uses.
    Free,
    /// Free space, and the unused end of each living file's last cluster.
    FreeAndSlack,
};

/// The word for the kind on the command line and in records.
std::string_view SpaceWord(SpaceKind kind);
/// The kind that a word names; nothing for other words.
std::optional<SpaceKind> SpaceNamed(std::string_view word);

/// Pieces of a medium, joined in order into a medium of their own, and the map between their sectors. Some of them are
/// separated by a gap of zeros, which no file crosses.
class Space {
public:
    /// The start sector of a gap.
    static constexpr std::int64_t Gap = Extent::Nowhere;

    /// `mediumBytes` is the size of the medium that the pieces come from.
    Space(std::int32_t sectorSize, std::int64_t mediumBytes, SpaceKind kind = SpaceKind::All)
        : sectorSize_(sectorSize), mediumBytes_(mediumBytes), kind_(kind) {}
    Space(const Space&) = delete;
    Space& operator=(const Space&) = delete;

    /// Appends a piece of at least one byte.
    void Add(Extent piece);
    /// Appends a gap of this many sectors, after filling up a partial sector.
    void AddGap(std::int64_t sectors);

    SpaceKind Kind() const { return kind_; }
    std::int32_t SectorSize() const { return sectorSize_; }
    /// The number of sectors of the medium that the pieces come from, counting a partial last one.
    std::int64_t MediumSectors() const { return (mediumBytes_ + sectorSize_ - 1) / sectorSize_; }
    std::int64_t SizeInBytes() const { return size_; }
    std::int64_t SectorCount() const { return (size_ + sectorSize_ - 1) / sectorSize_; }
    /// Counts gaps as well.
    std::size_t PieceCount() const { return pieces_.size(); }
    /// The piece with this index; `startSector` of a gap is `Gap`.
    Extent PieceAt(std::size_t index) const;

    /// A piece from a certain byte of the space on.
    struct Place {
        /// The piece's start on the medium; `Gap` in a gap.
        std::int64_t startSector = 0;
        /// Bytes of the piece before that byte.
        std::int64_t offset = 0;
        std::int64_t bytes = 0;
    };
    Place PlaceOf(std::int64_t offset) const;

    /// Maps a sector of the space to the medium. A sector in a gap maps to the last one before the gap, one after the
    /// end to the sector after the space's last.
    std::int64_t OnMedium(std::int64_t sector) const;
    /// The places on the medium of the bytes from a sector of the space on; gaps are left out.
    std::vector<Extent> ExtentsOnMedium(std::int64_t startSector, std::int64_t bytes) const;
    std::vector<SectorRange> OnMedium(const std::vector<SectorRange>& ranges) const;

    /// Bytes from the start of a sector to the next gap or the end.
    std::int64_t RoomFrom(std::int64_t sector) const;

    /// Serialised as numbers, for a digest and for other processes.
    std::string Bytes() const;
    /// A file in memory with these bytes, to pass to other processes.
    int MemoryFile() const;
    /// The space that was serialised as `bytes`; null if they are empty.
    static std::unique_ptr<const Space> FromBytes(const std::string& bytes);

private:
    friend class SpaceIndex;

    struct Piece {
        std::int64_t startSector = 0;
        // The offset of the piece's first byte in the space; the piece ends where the next one begins.
        std::int64_t offset = 0;
    };

    std::size_t IndexAt(std::int64_t offset) const;
    std::int64_t EndOf(std::size_t index) const {
        return index + 1 < pieces_.size() ? pieces_[index + 1].offset : size_;
    }

    std::int32_t sectorSize_;
    std::int64_t mediumBytes_;
    SpaceKind kind_;
    std::vector<Piece> pieces_;
    std::int64_t size_ = 0;
    // The offsets at which gaps begin.
    std::vector<std::int64_t> gaps_;
    mutable FileDescriptor memoryFile_;
};

/// Maps sectors of the medium to a space. The space outlives it.
class SpaceIndex {
public:
    explicit SpaceIndex(const Space& space);

    /// The places of these sectors of the medium in the space, in the medium's order; sectors outside it are left out.
    std::vector<SectorRange> InSpace(const std::vector<SectorRange>& ranges) const;
    /// The place of the first of these sectors in the space, with as many as follow it there without a break; empty if
    /// the first is outside.
    SectorRange StretchAt(SectorRange range) const;

private:
    using Next = std::vector<std::uint32_t>::const_iterator;

    // The piece that holds the sector, or the next one.
    Next PieceFrom(std::int64_t sector) const;
    // The sectors of the medium that the piece covers.
    SectorRange SectorsOf(std::uint32_t piece) const;

    const Space& space_;
    // Indices of the pieces, by their start on the medium.
    std::vector<std::uint32_t> order_;
};

}  // namespace salvor
