#include "documents/FreeEntrySearch.h"

#include <algorithm>
#include <array>

#include "frame/read/FileWindow.h"
#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::uint32_t TableSector = 0xFFFFFFFD;
constexpr std::uint32_t FreeSector = 0xFFFFFFFF;
constexpr std::int64_t EntryBytes = 4;
constexpr std::int64_t PieceBytes = 4096;

// The next bytes of the file, up to a place; empty at that place and where nothing can be read.
class PieceReader {
public:
    PieceReader(const SectorBlock& block, std::int64_t baseSector) : reader_(&block, baseSector, 0) {}

    ByteSpan Read(std::int64_t from, std::int64_t to) {
        const auto length = static_cast<std::uint32_t>(std::clamp<std::int64_t>(to - from, 0, PieceBytes));
        reader_.Seek(from);
        return reader_.Read(bytes_.data(), length) ? ByteSpan(bytes_).first(length) : ByteSpan();
    }

private:
    KFileSimulator reader_;
    std::array<std::uint8_t, PieceBytes> bytes_{};
};

}  // namespace

FreeEntrySearch::Count FreeEntrySearch::CountEntries(ByteSpan piece) {
    Count count;
    for (std::size_t at = 0; at < piece.size(); at += EntryBytes) {
        const auto entry = LoadLittle<std::uint32_t>(piece, at);
        if (entry == FreeSector) {
            break;
        }
        count.ofTable += entry == TableSector ? EntryBytes : 0;
        count.inFront += EntryBytes;
    }
    return count;
}

// Begins the stretch at the candidate's offset, keeping what is known from there on.
void FreeEntrySearch::MoveTo(const Candidate& candidate, std::int64_t offset) {
    constexpr std::uint64_t farthest = std::uint64_t{1} << 40U;  // sectors
    const auto distance = static_cast<std::uint64_t>(candidate.startSector) - static_cast<std::uint64_t>(baseSector_);
    if (distance <= farthest) {
        const std::int64_t place = static_cast<std::int64_t>(distance) * candidate.block.sectorSize + offset;
        if (place >= from_ && place <= to_ && (place - from_) % EntryBytes == 0) {
            PieceReader reader(candidate.block, baseSector_);
            while (from_ < place) {
                const ByteSpan piece = reader.Read(from_, place);
                if (piece.empty()) {
                    break;
                }
                tableBytes_ -= CountEntries(piece).ofTable;
                from_ += static_cast<std::int64_t>(piece.size());
            }
        }
        if (place == from_) {
            return;
        }
    }
    *this = {};
    baseSector_ = candidate.startSector;
    from_ = to_ = offset;
}

std::optional<std::int64_t> FreeEntrySearch::TableBytes(const Candidate& candidate, std::int64_t offset,
                                                        std::int64_t limit) {
    MoveTo(candidate, offset);
    // Behind the medium there is no free entry.
    const std::int64_t readable = std::max<std::int64_t>(std::min(limit, MediumSize(candidate.block)), 0);
    const std::int64_t end = from_ + readable / EntryBytes * EntryBytes;
    PieceReader reader(candidate.block, baseSector_);
    while (!isFreeBehind_ && to_ < end) {
        const ByteSpan piece = reader.Read(to_, end);
        if (piece.empty()) {
            return std::nullopt;
        }
        const Count count = CountEntries(piece);
        tableBytes_ += count.ofTable;
        to_ += count.inFront;
        isFreeBehind_ = count.inFront < static_cast<std::int64_t>(piece.size());
    }
    return isFreeBehind_ && to_ < end ? std::optional(tableBytes_) : std::nullopt;
}
