#include "documents/KMSGFileType.h"

#include <algorithm>
#include <array>
#include <limits>

#include "frame/read/FileWindow.h"
#include "frame/read/KFileSimulator.h"

#include "formats/CompoundRecords.h"

namespace {

constexpr std::int64_t DefaultMaxSize = 0x500000;
constexpr std::int32_t MinSectorBytes = 512;
constexpr std::int32_t MaxSectorBytes = 2048;

constexpr auto RootEntry = PatternOf("R\0o\0o\0t\0 \0E\0n\0t\0r\0y\0");
// The first entries chain sectors 1 to 4.
constexpr auto TableStart = PatternOf("\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0");
// The end of a chain, then the entry of the table's first own sector.
constexpr auto ChainEndAndTable = PatternOf("\xFE\xFF\xFF\xFF\xFD\xFF\xFF\xFF");
constexpr std::uint32_t TableSector = 0xFFFFFFFD;
constexpr std::uint32_t FreeSector = 0xFFFFFFFF;
constexpr std::size_t EntryBytes = 4;
// How many sectors of the table are searched.
constexpr std::size_t SearchedSectors = 10;

// Reads the table's entries in pieces.
class EntryReader {
public:
    EntryReader(const Candidate& candidate, Budget& budget)
        : reader_(&candidate.block, candidate.startSector, 0, &budget) {}

    // Entries from `from` up to `to`, as many as fit one piece; empty if nothing can be read. Offsets count from the
    // candidate.
    ByteSpan Read(std::int64_t from, std::int64_t to) {
        const auto length = std::clamp<std::int64_t>(to - from, 0, std::ssize(bytes_));
        reader_.Seek(from);
        return reader_.Read(bytes_.data(), static_cast<std::uint32_t>(length))
                   ? ByteSpan(bytes_).first(static_cast<std::size_t>(length))
                   : ByteSpan();
    }

private:
    KFileSimulator reader_;
    std::array<std::uint8_t, 4096> bytes_{};
};

std::size_t FindFreeEntry(ByteSpan entries) {
    std::size_t at = 0;
    while (at < entries.size() && LoadLittle<std::uint32_t>(entries, at) != FreeSector) {
        at += EntryBytes;
    }
    return at;
}

}  // namespace

KMSGFileType::KMSGFileType() { run_.maxSize = DefaultMaxSize; }

std::int32_t KMSGFileType::Reset() {
    Close();
    offsets_.Reset();
    budget_.Reset();
    return 1;
}

void KMSGFileType::Close() {
    CloseRun(run_);
    rootSeen_ = false;
    isDone_ = false;
}

void KMSGFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (block->sectorCount < 1 || block->sectorSize > MaxSectorBytes) {
        return;
    }
    budget_.EnterBlock(*block);
    if (!offsets_.Enter(*block)) {
        gap_.Forget();
    }
    ForEachSector(
        *block, SectorFilterOf(CompoundSignature), [this] { return run_.inFile != 0; },
        [&](const Candidate& candidate) {
            if (candidate.sector.size() >= MinSectorBytes && StartsWith(candidate.sector, CompoundSignature)) {
                Close();
                OpenRun(run_, candidate.startSector);
                run_.runLength = block->sectorSize;
            } else if (run_.inFile != 0) {
                Continue(candidate);
            }
            if (isDone_) {
                ReportOpenRun(run_, 0, sink);
                Close();
            }
        });
}

// Adds the next sector to the open message. A message that is done but no longer open is dropped.
void KMSGFileType::Continue(const Candidate& candidate) {
    const std::int64_t sectorSize = candidate.block.sectorSize;
    if (StartsWith(candidate.sector, TableStart)) {
        const std::optional<std::int64_t> length = TableLength(candidate);
        isDone_ = true;
        if (length) {
            run_.runLength = (run_.runLength + *length + sectorSize - 1) / sectorSize * sectorSize;
        } else {
            run_.inFile = 0;
        }
    } else {
        rootSeen_ = rootSeen_ || StartsWith(candidate.sector, RootEntry);
        run_.runLength += sectorSize;
    }
    if (run_.runLength > run_.maxSize) {
        isDone_ = true;
        run_.inFile = 0;
    }
}

// Bytes from the table's start up to the end of the first free entry after those of its own sectors.
std::optional<std::int64_t> KMSGFileType::TableLength(const Candidate& candidate) {
    if (!rootSeen_) {
        return std::nullopt;
    }
    const ByteSpan rest = candidate.RestOfBlock();
    const ByteSpan table = rest.first(std::min(rest.size(), SearchedSectors * candidate.sector.size()));
    for (std::size_t offset = 0; offset < table.size(); offset += EntryBytes) {
        if (HasPatternAt(table, offset, ChainEndAndTable)) {
            const auto behind = static_cast<std::int64_t>(offset + ChainEndAndTable.size());
            const auto tableBytes = OwnEntriesBytes(candidate, behind);
            return tableBytes ? std::optional(behind + *tableBytes + static_cast<std::int64_t>(EntryBytes))
                              : std::nullopt;
        }
    }
    return std::nullopt;
}

// Bytes of the entries for the table's own sectors from `offset` on, up to the first free entry; nothing if there is no
// free one within the cap.
std::optional<std::int64_t> KMSGFileType::OwnEntriesBytes(const Candidate& candidate, std::int64_t offset) {
    constexpr auto entryBytes = static_cast<std::int64_t>(EntryBytes);
    budget_.BeginWalk();
    EntryReader entries(candidate, budget_);
    const std::int64_t base = offsets_.PlaceOf(candidate.startSector);
    const std::int64_t from = base + offset;
    if (phase_ != from % entryBytes) {
        phase_ = from % entryBytes;
        gap_.Forget();
    }
    // There is no free entry past the medium's end. With a cap near 2^63 and an unknown medium size, the search would
    // overflow.
    const std::int64_t readable = std::max<std::int64_t>(std::min(run_.maxSize, MediumSize(candidate.block)), 0);
    if (readable / entryBytes * entryBytes > std::numeric_limits<std::int64_t>::max() - from) {
        return std::nullopt;
    }
    const std::int64_t end = from + readable / entryBytes * entryBytes;
    const auto free = gap_.Find(base, from, end, [&](std::int64_t at, std::int64_t last) -> Gap::Step {
        const ByteSpan piece = budget_.IsExhausted() ? ByteSpan() : entries.Read(at - base, last - base);
        const std::size_t used = FindFreeEntry(piece);
        return {at + static_cast<std::int64_t>(used), used < piece.size()};
    });
    if (!free) {
        return std::nullopt;
    }
    std::int64_t ownBytes = 0;
    for (std::int64_t at = from; at < *free;) {
        const ByteSpan piece = budget_.IsExhausted() ? ByteSpan() : entries.Read(at - base, *free - base);
        if (piece.empty()) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < piece.size(); i += EntryBytes) {
            ownBytes += LoadLittle<std::uint32_t>(piece, i) == TableSector ? entryBytes : 0;
        }
        at += static_cast<std::int64_t>(piece.size());
    }
    return ownBytes;
}
