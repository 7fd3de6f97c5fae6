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

/// What of a medium is looked at.
enum class SpaceKind {
    All,
    /// What file systems do not use.
    Free,
    /// That, and the rest of each living file's last cluster.
    FreeAndSlack,
};

/// The word for it on the command line and in records.
std::string_view SpaceWord(SpaceKind kind);
/// In the other direction.
std::optional<SpaceKind> SpaceNamed(std::string_view word);

/// Pieces of a medium, joined in order as a medium of their own, and which sector lies where. Between some of them is a
/// gap of zeros, which belongs to no piece: no file goes on over it.
class Space {
public:
    /// Stands for the start of a gap.
    static constexpr std::int64_t Gap = Extent::Nowhere;

    /// `mediumBytes` is the size of the medium that the pieces are of.
    Space(std::int32_t sectorSize, std::int64_t mediumBytes, SpaceKind kind = SpaceKind::All)
        : sectorSize_(sectorSize), mediumBytes_(mediumBytes), kind_(kind) {}
    Space(const Space&) = delete;
    Space& operator=(const Space&) = delete;

    /// The next piece, of a byte at least.
    void Add(Extent piece);
    /// A gap of so many sectors, behind the rest of one that has begun.
    void AddGap(std::int64_t sectors);

    SpaceKind Kind() const { return kind_; }
    std::int32_t SectorSize() const { return sectorSize_; }
    /// Of the medium that the pieces are of; a partial last one counts.
    std::int64_t MediumSectors() const { return (mediumBytes_ + sectorSize_ - 1) / sectorSize_; }
    std::int64_t SizeInBytes() const { return size_; }
    std::int64_t SectorCount() const { return (size_ + sectorSize_ - 1) / sectorSize_; }
    /// Gaps included.
    std::size_t PieceCount() const { return pieces_.size(); }
    /// In order; the start of a gap is `Gap`.
    Extent PieceAt(std::size_t index) const;

    /// What of a piece lies at a byte of the space and behind it.
    struct Place {
        /// Of the piece, on the medium; `Gap` in a gap.
        std::int64_t startSector = 0;
        /// Bytes of the piece in front.
        std::int64_t offset = 0;
        std::int64_t bytes = 0;
    };
    Place PlaceOf(std::int64_t offset) const;

    /// The sector of the medium that is this one; for one in a gap the one in front of it. Behind the end of the space
    /// it is the one behind its last.
    std::int64_t OnMedium(std::int64_t sector) const;
    /// Where bytes from a sector of the space on lie; gaps are left out.
    std::vector<Extent> ExtentsOnMedium(std::int64_t startSector, std::int64_t bytes) const;
    std::vector<SectorRange> OnMedium(const std::vector<SectorRange>& ranges) const;

    /// How many bytes of the medium lie between the start of a sector and the next gap, or the end.
    std::int64_t RoomFrom(std::int64_t sector) const;

    /// All of it as numbers, for a digest and for other processes.
    std::string Bytes() const;
    /// A file in memory with these bytes, for other processes.
    int MemoryFile() const;
    /// From such bytes; null if there are none.
    static std::unique_ptr<const Space> FromBytes(const std::string& bytes);

private:
    friend class SpaceIndex;

    struct Piece {
        std::int64_t startSector = 0;
        // Of its first byte in the space; it ends where the next one begins.
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
    // Where gaps begin.
    std::vector<std::int64_t> gaps_;
    mutable FileDescriptor memoryFile_;
};

/// Finds sectors of the medium in a space, which outlives it.
class SpaceIndex {
public:
    explicit SpaceIndex(const Space& space);

    /// The sectors of the space that are these; in order of the medium, those that are not in it are left out.
    std::vector<SectorRange> InSpace(const std::vector<SectorRange>& ranges) const;
    /// The sectors of the space that are the first of these, as far as they lie together; none if the first is not in
    /// it.
    SectorRange StretchAt(SectorRange range) const;

private:
    using Next = std::vector<std::uint32_t>::const_iterator;

    // The piece that holds the sector, or the next one.
    Next PieceFrom(std::int64_t sector) const;
    // Which sectors of the medium it is.
    SectorRange SectorsOf(std::uint32_t piece) const;

    const Space& space_;
    // Of the pieces, by their start on the medium.
    std::vector<std::uint32_t> order_;
};

}  // namespace salvor
