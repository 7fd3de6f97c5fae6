#include "media/KMidFileType.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::int64_t TrackCount = 10;
constexpr std::int64_t FirstTrack = 14;

constexpr auto TrackSignature = PatternOf("MTrk");
constexpr std::uint64_t ChunkHeaderBytes = 8;

std::uint64_t TrackAt(KFileSimulator& reader) {
    std::array<std::uint8_t, ChunkHeaderBytes> header{};
    if (!reader.Read(header.data(), header.size()) || !StartsWith(header, TrackSignature)) {
        return 0;
    }
    return ChunkHeaderBytes + LoadBig<std::uint32_t>(header, TrackSignature.size());
}

}  // namespace

std::optional<std::int64_t> KMidFileType::Measure(const Candidate& candidate) {
    // In small sectors this field lies in the next sector, so it is read through the reader.
    KFileSimulator reader(&candidate.block, candidate.startSector, 0);
    reader.Seek(TrackCount);
    std::array<std::uint8_t, 2> field{};
    reader.Read(field.data(), field.size());
    const auto tracks = static_cast<std::int16_t>(LoadBig<std::uint16_t>(field, 0));
    if (tracks < 1) {
        return FirstTrack;
    }
    // No report is larger than the cap, so the walk need not go further.
    const std::int64_t limit = std::max(run_.maxSize, MinReportLength);
    const std::optional<ChunkWalk::Result> walked =
        memory_.Walk(candidate, FirstTrack, static_cast<std::uint32_t>(tracks), limit, TrackAt);
    return walked ? std::optional(walked->position) : std::nullopt;
}
