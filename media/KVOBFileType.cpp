#include "media/KVOBFileType.h"

#include <algorithm>
#include <limits>

#include "frame/KFileSimulator.h"

namespace {

constexpr auto PackStartCode = PatternOf("\x00\x00\x01\xBA");
// The length is a signed 32-bit number: from 2 GiB on it is negative, which is no size, and nothing is followed for as
// long as it would take to wrap around again.
constexpr std::int64_t LongestStream = std::numeric_limits<std::int32_t>::max();

}  // namespace

std::int32_t KVOBFileType::Reset() {
    chains_.Reset();
    return MeasuringScanner::Reset();
}

void KVOBFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    chains_.EnterBlock(*block);
    MeasuringScanner::ScanBlock(block, sink);
}

bool KVOBFileType::IsHeader(ByteSpan sector) { return StartsWith(sector, PackStartCode); }

std::optional<std::int64_t> KVOBFileType::Measure(const Candidate& candidate) {
    if (lastFile_.Refuses(candidate.startSector) || run_.maxSize < 0 || !KFileSimulator::Serves(candidate.block) ||
        PackChains::BreaksInBlock(candidate)) {
        return std::nullopt;
    }
    const PackChains::Stream stream = chains_.Measure(candidate, std::min(run_.maxSize, LongestStream));
    if (stream.packets < PackChains::CountedPackets || stream.length < MinReportLength ||
        stream.length > LongestStream) {
        return std::nullopt;
    }
    lastFile_.Set(candidate.startSector, static_cast<std::int32_t>(stream.length), candidate.block.sectorSize);
    return stream.length;
}
