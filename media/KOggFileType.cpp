#include "media/KOggFileType.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace {

constexpr std::size_t PageFlags = 5;
constexpr std::uint8_t BeginsStream = 0x02;
constexpr std::uint32_t MostPages = 20000;

// Through the number of segments. The table of their lengths follows, a byte each.
constexpr std::uint32_t PageHeaderBytes = 27;

std::uint64_t PageAt(KFileSimulator& reader) {
    std::array<std::uint8_t, PageHeaderBytes> header{};
    if (!reader.Read(header.data(), header.size()) || !StartsWith(header, KOggFileType::Signature)) {
        return 0;
    }
    const std::uint8_t segments = header.back();
    std::array<std::uint8_t, 0xFF> lengths{};
    // A table that cannot be read counts as zeros; the walk then ends at the next page.
    const bool hasTable = reader.Read(lengths.data(), segments);
    const std::uint64_t contentBytes =
        hasTable ? std::accumulate(lengths.begin(), lengths.begin() + segments, std::uint64_t{0}) : 0;
    return PageHeaderBytes + segments + contentBytes;
}

}  // namespace

bool KOggFileType::IsHeader(ByteSpan sector) { return (sector[PageFlags] & BeginsStream) != 0; }

std::optional<std::int64_t> KOggFileType::Measure(const Candidate& candidate) {
    // No report is larger than the cap, so the walk need not go further. The largest pages together stay below 2 GiB.
    const std::int64_t limit = std::max(run_.maxSize, MinReportLength);
    const std::optional<ChunkWalk::Result> walked = memory_.Walk(candidate, 0, MostPages, limit, PageAt);
    return walked ? std::optional(walked->position) : std::nullopt;
}
