#include "media/KVOBFileType.h"

#include <algorithm>
#include <limits>

#include "frame/read/KFileSimulator.h"

namespace {

// Lengths are counted in 32 bits, and compared with the cap as signed numbers: a cap of 2 GiB or more is never passed.
// A stream is followed as long as its next packet cannot make the count wrap around.
constexpr std::int64_t LongestStream = 0xFFFE0000;
constexpr std::int64_t LargestPassableCap = std::numeric_limits<std::int32_t>::max();

}  // namespace

std::optional<std::int64_t> KVOBFileType::Measure(const Candidate& candidate) {
    if (lastFile_.Continues(candidate.startSector) || run_.maxSize < 0 || !KFileSimulator::Serves(candidate.block) ||
        PackChains::BreaksInBlock(candidate)) {
        return std::nullopt;
    }
    const std::int64_t lengthLimit = run_.maxSize < LargestPassableCap ? run_.maxSize : LongestStream;
    const PackChains::Stream stream = memory_.Measure(candidate, lengthLimit);
    if (stream.packets < PackChains::CountedPackets || stream.length < MinReportLength) {
        return std::nullopt;
    }
    // In 32 bits, which wrap for a stream of nearly 4 GiB in large sectors.
    const auto sectorSize = static_cast<std::uint32_t>(candidate.block.sectorSize);
    lastFile_.Set(candidate.startSector, (static_cast<std::uint32_t>(stream.length) - 1 + sectorSize) / sectorSize);
    return stream.length;
}
