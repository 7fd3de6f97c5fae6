#include "host/medium/space.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <utility>

#include "host/platform/shared_memory.h"

namespace salvor {

namespace {

constexpr std::array Kinds{std::pair{SpaceKind::All, std::string_view("all")},
                           std::pair{SpaceKind::Free, std::string_view("free")},
                           std::pair{SpaceKind::FreeAndSlack, std::string_view("free+slack")}};

// Appends a range, joined with the last one if they touch.
void Append(std::vector<SectorRange>& ranges, SectorRange range) {
    if (!ranges.empty() && ranges.back().first + ranges.back().count == range.first) {
        ranges.back().count += range.count;
    } else {
        ranges.push_back(range);
    }
}

}  // namespace

std::string_view SpaceWord(SpaceKind kind) { return Kinds[static_cast<std::size_t>(kind)].second; }

std::optional<SpaceKind> SpaceNamed(std::string_view word) {
    const auto* const found = std::ranges::find(Kinds, word, [](const auto& one) { return one.second; });
    return found == Kinds.end() ? std::nullopt : std::optional(found->first);
}

void Space::Add(Extent piece) {
    pieces_.push_back({piece.startSector, size_});
    if (piece.startSector == Gap) {
        gaps_.push_back(size_);
    }
    size_ += piece.bytes;
}

void Space::AddGap(std::int64_t sectors) { Add({Gap, (SectorCount() + sectors) * sectorSize_ - size_}); }

Extent Space::PieceAt(std::size_t index) const {
    return {pieces_[index].startSector, EndOf(index) - pieces_[index].offset};
}

std::size_t Space::IndexAt(std::int64_t offset) const {
    const auto next = std::ranges::upper_bound(pieces_, offset, {}, &Piece::offset);
    return static_cast<std::size_t>(next - pieces_.begin()) - 1;
}

Space::Place Space::PlaceOf(std::int64_t offset) const {
    const std::size_t index = IndexAt(offset);
    const std::int64_t inside = offset - pieces_[index].offset;
    return {pieces_[index].startSector, inside, EndOf(index) - offset};
}

std::int64_t Space::OnMedium(std::int64_t sector) const {
    const std::int64_t offset = std::clamp<std::int64_t>(sector, 0, SectorCount()) * sectorSize_;
    std::size_t index = IndexAt(offset);
    std::int64_t inside = offset - pieces_[index].offset;
    if (pieces_[index].startSector == Gap && index > 0) {
        inside = pieces_[index].offset - pieces_[index - 1].offset - 1;
        --index;
    }
    return pieces_[index].startSector + inside / sectorSize_;
}

std::vector<Extent> Space::ExtentsOnMedium(std::int64_t startSector, std::int64_t bytes) const {
    std::vector<Extent> extents;
    std::int64_t offset = startSector * sectorSize_;
    const std::int64_t end = offset + std::min(bytes, size_ - offset);
    for (std::size_t index = IndexAt(offset); offset < end; ++index) {
        const std::int64_t count = std::min(EndOf(index), end) - offset;
        const std::int64_t sector = pieces_[index].startSector + (offset - pieces_[index].offset) / sectorSize_;
        offset += count;
        if (pieces_[index].startSector != Gap) {
            Append(extents, {sector, count}, sectorSize_);
        }
    }
    return extents;
}

std::vector<SectorRange> Space::OnMedium(const std::vector<SectorRange>& ranges) const {
    std::vector<SectorRange> places;
    for (const SectorRange& range : ranges) {
        for (const Extent& extent : ExtentsOnMedium(range.first, range.count * sectorSize_)) {
            Append(places, {extent.startSector, (extent.bytes + sectorSize_ - 1) / sectorSize_});
        }
    }
    return places;
}

std::int64_t Space::RoomFrom(std::int64_t sector) const {
    const std::int64_t offset = sector * sectorSize_;
    const auto gap = std::ranges::lower_bound(gaps_, offset);
    return std::max<std::int64_t>((gap == gaps_.end() ? size_ : *gap) - offset, 0);
}

std::string Space::Bytes() const {
    std::vector<std::int64_t> numbers{sectorSize_, mediumBytes_, static_cast<std::int64_t>(kind_), size_};
    for (const Piece& piece : pieces_) {
        numbers.insert(numbers.end(), {piece.startSector, piece.offset});
    }
    std::string bytes(numbers.size() * sizeof(std::int64_t), '\0');
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    return bytes;
}

int Space::MemoryFile() const {
    if (!memoryFile_.IsOpen()) {
        memoryFile_ = MakeMemoryFile(Bytes());
    }
    return memoryFile_.Get();
}

std::unique_ptr<const Space> Space::FromBytes(const std::string& bytes) {
    const auto numberAt = [&bytes](std::size_t index) {
        std::int64_t number = 0;
        std::memcpy(&number, bytes.data() + index * sizeof(number), sizeof(number));
        return number;
    };
    constexpr std::size_t numbersInFront = 4;
    const std::size_t count = bytes.size() / sizeof(std::int64_t);
    if (count <= numbersInFront) {
        return nullptr;
    }
    auto space = std::make_unique<Space>(static_cast<std::int32_t>(numberAt(0)), numberAt(1),
                                         static_cast<SpaceKind>(numberAt(2)));
    space->pieces_.reserve((count - numbersInFront) / 2);
    for (std::size_t i = numbersInFront; i + 1 < count; i += 2) {
        space->pieces_.push_back({numberAt(i), numberAt(i + 1)});
        if (numberAt(i) == Gap) {
            space->gaps_.push_back(numberAt(i + 1));
        }
    }
    space->size_ = numberAt(3);
    return space;
}

SpaceIndex::SpaceIndex(const Space& space) : space_(space) {
    for (std::size_t i = 0; i < space.pieces_.size(); ++i) {
        if (space.pieces_[i].startSector != Space::Gap) {
            order_.push_back(static_cast<std::uint32_t>(i));
        }
    }
    std::ranges::sort(order_, {}, [&space](std::uint32_t i) { return space.pieces_[i].startSector; });
}

SectorRange SpaceIndex::SectorsOf(std::uint32_t piece) const {
    const std::int64_t bytes = space_.EndOf(piece) - space_.pieces_[piece].offset;
    return {space_.pieces_[piece].startSector, (bytes + space_.sectorSize_ - 1) / space_.sectorSize_};
}

SpaceIndex::Next SpaceIndex::PieceFrom(std::int64_t sector) const {
    return std::ranges::partition_point(order_, [&](std::uint32_t piece) {
        const SectorRange sectors = SectorsOf(piece);
        return sectors.first + sectors.count <= sector;
    });
}

SectorRange SpaceIndex::StretchAt(SectorRange range) const {
    const auto piece = PieceFrom(range.first);
    if (piece == order_.end() || SectorsOf(*piece).first > range.first) {
        return {};
    }
    const SectorRange sectors = SectorsOf(*piece);
    const std::int64_t inside = range.first - sectors.first;
    return {space_.pieces_[*piece].offset / space_.sectorSize_ + inside, std::min(range.count, sectors.count - inside)};
}

std::vector<SectorRange> SpaceIndex::InSpace(const std::vector<SectorRange>& ranges) const {
    std::vector<SectorRange> found;
    for (const SectorRange& range : ranges) {
        const std::int64_t end = range.first + range.count;
        for (auto piece = PieceFrom(range.first); piece != order_.end() && SectorsOf(*piece).first < end; ++piece) {
            const std::int64_t from = std::max(range.first, SectorsOf(*piece).first);
            Append(found, StretchAt({from, end - from}));
        }
    }
    return found;
}

}  // namespace salvor
