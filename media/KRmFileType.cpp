#include "media/KRmFileType.h"

#include <algorithm>
#include <array>

namespace {

// The number of chunks, the file header included.
constexpr std::size_t ChunkCount = 14;
constexpr std::int64_t FirstChunk = 18;

constexpr std::uint32_t ChunkHeaderBytes = 8;
constexpr std::array<Pattern<4>, 5> ChunkNames{PatternOf("PROP"), PatternOf("CONT"), PatternOf("MDPR"),
                                               PatternOf("INDX"), PatternOf("DATA")};
// A data chunk's size field is too large by this many bytes.
constexpr std::uint32_t DataShortfall = 10;

std::uint64_t ChunkAt(KFileSimulator& reader) {
    std::array<std::uint8_t, ChunkHeaderBytes> header{};
    if (!reader.Read(header.data(), header.size())) {
        return 0;
    }
    const auto* const name =
        std::ranges::find_if(ChunkNames, [&](const auto& known) { return StartsWith(header, known); });
    if (name == ChunkNames.end()) {
        return 0;
    }
    // Wraps at 32 bits for a data chunk with a smaller size.
    const std::uint32_t step =
        LoadBig<std::uint32_t>(header, name->size()) - (*name == ChunkNames.back() ? DataShortfall : 0);
    return step >= ChunkHeaderBytes ? step : 0;
}

}  // namespace

std::int32_t KRmFileType::Reset() {
    lastFile_.Reset();
    return RememberingScanner::Reset();
}

std::optional<std::int64_t> KRmFileType::Measure(const Candidate& candidate) {
    if (lastFile_.ReachesBeyond(candidate.startSector)) {
        return std::nullopt;
    }
    // A count of 0 wraps to the largest number of chunks.
    const std::uint32_t chunks = LoadBig<std::uint32_t>(candidate.sector, ChunkCount) - 1;
    const std::optional<ChunkWalk::Result> walked =
        memory_.Walk(candidate, FirstChunk, chunks, ChunkWalk::NoLimit, ChunkAt);
    if (!walked || walked->stepsLeft != 0) {
        return std::nullopt;
    }
    // Sizes are cut to 32 bits and signed, however far the walk went.
    const auto size = static_cast<std::int32_t>(walked->position);
    if (size >= MinReportLength) {
        lastFile_.Set(candidate.startSector,
                      LastFile::SectorsOf(std::min<std::int64_t>(size, run_.maxSize), candidate.block.sectorSize));
    }
    return size;
}
