#include "documents/KEMLFileType.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "frame/bytes/BytePattern.h"
#include "frame/scan/SectorScan.h"

namespace {

constexpr std::int32_t MinSectorBytes = 512;
constexpr std::int32_t MaxSectorBytes = 2048;

constexpr auto FirstLine = PatternOf("Received:");
constexpr BytePattern LaterLine = BytePatternOf<"\r\nReceived:">();
// The line break before a later line begins within this many bytes.
constexpr std::size_t LaterLineReach = 256;

// Either "ce" or "ei" of the line is at an even offset. Looking for both at once, by the bits they share, takes half as
// many comparisons and is faster than searching every sector for the line.
bool MayHoldLaterLine(const std::uint8_t* sector) {
    constexpr auto atEven = std::bit_cast<std::uint16_t>(Pattern<2>{'c', 'e'});
    constexpr auto atOdd = std::bit_cast<std::uint16_t>(Pattern<2>{'e', 'i'});
    constexpr auto shared = static_cast<std::uint16_t>(~(atEven ^ atOdd));
    // Some more pairs than the line can reach, to fill whole vectors.
    constexpr std::size_t pairs = 136;
    static_assert(2 * pairs >= LaterLineReach - 1 + LaterLine.size());
    static_assert(2 * pairs <= MinSectorBytes);
    std::uint16_t found = 0;
    for (std::size_t i = 0; i < pairs; ++i) {
        std::uint16_t pair = 0;
        std::memcpy(&pair, sector + 2 * i, sizeof(pair));
        // All ones, as from a vector comparison.
        const auto isFound = static_cast<std::uint16_t>(-static_cast<int>((pair & shared) == (atEven & shared)));
        found = static_cast<std::uint16_t>(found | isFound);
    }
    return found != 0;
}

struct MailHead {
    static constexpr std::size_t Reach() { return MinSectorBytes; }
    static bool Matches(const std::uint8_t* sector) {
        return SectorFilterOf(FirstLine).Matches(sector) || MayHoldLaterLine(sector);
    }
};

}  // namespace

std::int32_t KEMLFileType::Reset() {
    ends_.Reset();
    return RunStateFileType::Reset();
}

bool KEMLFileType::IsHeader(ByteSpan sector) {
    return sector.size() >= MinSectorBytes &&
           (StartsWith(sector, FirstLine) ||
            LaterLine.FindIn(sector.first(LaterLineReach - 1 + LaterLine.size())).has_value());
}

void KEMLFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (block->sectorCount < 1 || block->sectorSize > MaxSectorBytes) {
        return;
    }
    ends_.EnterBlock(*block);
    ForEachSector(*block, MailHead(), [&](const Candidate& candidate) {
        if (!IsHeader(candidate.sector)) {
            return;
        }
        const std::optional<std::int64_t> end = ends_.FindEnd(candidate, run_.maxSize);
        if (!end) {
            return;
        }
        const std::int64_t size = std::min(*end, run_.maxSize);
        if (!LiesInLast(candidate.startSector, size, block->sectorSize)) {
            ReportCapped(sink, candidate.startSector, size, run_.maxSize);
            lastStart_ = candidate.startSector;
            lastSize_ = size;
        }
    });
}

// Sectors have 512 bytes or more, so no message that begins at `nextSector` can end in the last one. Beyond the size of
// any file, the sum of the bytes might wrap around.
bool KEMLFileType::RestsAt(std::int64_t nextSector) const {
    constexpr std::int64_t largestFile = std::int64_t{1} << 48;
    const auto distance =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(nextSector) - static_cast<std::uint64_t>(lastStart_));
    return ends_.IsAtRest() && (lastSize_ <= 0 || (lastSize_ < largestFile && distance > lastSize_ / MinSectorBytes));
}

// The start is compared as if the last message's bytes were sectors; the end decides.
bool KEMLFileType::LiesInLast(std::int64_t startSector, std::int64_t size, std::int32_t sectorSize) const {
    const std::uint64_t distance = static_cast<std::uint64_t>(startSector) - static_cast<std::uint64_t>(lastStart_);
    const auto lastEnd =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(lastStart_) + static_cast<std::uint64_t>(lastSize_));
    const auto endInLast =
        static_cast<std::int64_t>(distance * static_cast<std::uint64_t>(sectorSize) + static_cast<std::uint64_t>(size));
    return startSector >= lastStart_ && startSector < lastEnd && lastSize_ >= endInLast;
}
