#include "documents/KMSGFileType.h"

#include <algorithm>

#include "formats/CompoundRecords.h"

namespace {

constexpr std::int64_t DefaultMaxSize = 0x500000;
constexpr std::int32_t MinSectorBytes = 512;
constexpr std::int32_t MaxSectorBytes = 2048;

constexpr auto RootEntry = PatternOf("R\0o\0o\0t\0 \0E\0n\0t\0r\0y\0");
// The first entries chain the sectors 1, 2, 3 and 4.
constexpr auto TableStart = PatternOf("\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0");
// The end of a chain, then the first sector of the table itself.
constexpr auto ChainEndAndTable = PatternOf("\xFE\xFF\xFF\xFF\xFD\xFF\xFF\xFF");
constexpr std::size_t EntryBytes = 4;
// The table is searched over as many sectors.
constexpr std::size_t SearchedSectors = 10;

}  // namespace

KMSGFileType::KMSGFileType() { run_.maxSize = DefaultMaxSize; }

std::int32_t KMSGFileType::Reset() {
    Close();
    freeEntries_ = {};
    return 1;
}

void KMSGFileType::Close() {
    CloseRun(run_);
    rootSeen_ = false;
    isDone_ = false;
}

void KMSGFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (block->sectorSize > MaxSectorBytes) {
        return;
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

// Takes the open message's next sector. A message that is done and no longer open is dropped.
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

// Bytes from the start of the table's first sector: up to the entries of its own sectors, and an entry for each of
// those and for the free one behind them.
std::optional<std::int64_t> KMSGFileType::TableLength(const Candidate& candidate) {
    if (!rootSeen_) {
        return std::nullopt;
    }
    const ByteSpan rest = candidate.RestOfBlock();
    const ByteSpan table = rest.first(std::min(rest.size(), SearchedSectors * candidate.sector.size()));
    for (std::size_t offset = 0; offset < table.size(); offset += EntryBytes) {
        if (HasPatternAt(table, offset, ChainEndAndTable)) {
            const auto behind = static_cast<std::int64_t>(offset + ChainEndAndTable.size());
            const auto tableBytes = freeEntries_.TableBytes(candidate, behind, run_.maxSize);
            return tableBytes ? std::optional(behind + *tableBytes + static_cast<std::int64_t>(EntryBytes))
                              : std::nullopt;
        }
    }
    return std::nullopt;
}
