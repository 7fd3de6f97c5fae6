#include "images/JpegEnd.h"

#include <algorithm>
#include <array>

#include "frame/bytes/BytePattern.h"
#include "frame/read/TraceMessage.h"

namespace {

// An examination reads no further than this from the header, in bytes.
constexpr std::int64_t ReadLimit = 0x4000000;
// The end search reads in pieces of this many bytes that do not overlap: a marker whose first byte is one of the last
// two of a piece is not seen.
constexpr std::uint32_t ChunkBytes = 0x7E00;

constexpr BytePattern EndMarker = BytePatternOf<"\xFF\xD9">();

constexpr std::int64_t StartMarkerBytes = 2;
constexpr std::uint8_t MarkerPrefix = 0xFF;
constexpr std::uint8_t BaselineFrame = 0xC0;
constexpr std::uint8_t StartOfScan = 0xDA;

}  // namespace

std::optional<std::int64_t> JpegEndSearch::FindEnd(const Candidate& candidate) {
    const auto segments = trail_.Walk(candidate, StartMarkerBytes, ReadLimit, SegmentAt);
    if (!segments || !segments->facts.leadsToImageData) {
        TraceMessage("Neither SOF nor SOS have been found<%u>!\r\n",
                     segments ? static_cast<std::uint32_t>(segments->to) : 0U);
        return std::nullopt;
    }
    return SearchEndMarker(candidate, segments->to);
}

// Entropy-coded data, in which the end is searched for, stands behind the first baseline frame or scan.
JpegEndSearch::Stretch JpegEndSearch::SegmentAt(KFileSimulator& reader, std::int64_t offset) {
    std::array<std::uint8_t, 2> marker{};
    std::array<std::uint8_t, 2> lengthField{};
    reader.Seek(offset);
    if (!reader.Read(marker.data(), marker.size()) || marker[0] != MarkerPrefix ||
        !reader.Read(lengthField.data(), lengthField.size())) {
        return {.to = offset, .isEnd = true};
    }
    // The length counts its own two bytes.
    const auto length = LoadBig<std::uint16_t>(lengthField, 0);
    if (length < lengthField.size()) {
        return {.to = offset, .isEnd = true};
    }
    const bool isImage = marker[1] == BaselineFrame || marker[1] == StartOfScan;
    return {.to = offset + static_cast<std::int64_t>(marker.size()) + length, .facts = {isImage}, .isEnd = isImage};
}

std::optional<std::int64_t> JpegEndSearch::SearchEndMarker(const Candidate& candidate, std::int64_t from) {
    // Every read of the candidate succeeds, so what others have shown holds for it too.
    const bool mayReuse = KFileSimulator::Serves(candidate.block);
    const std::int64_t base = row_.PlaceOf(candidate.startSector);
    KFileSimulator reader(&candidate.block, candidate.startSector, ReadLimit, &budget_);
    std::array<std::uint8_t, ChunkBytes> bytes{};
    const auto advance = [&](std::int64_t at, std::int64_t /*end*/) -> Gap::Step {
        reader.Seek(at - base);
        if (budget_.IsExhausted() || !reader.Read(bytes.data(), ChunkBytes)) {
            return {at, false};
        }
        if (const auto marker = EndMarker.FindIn(bytes)) {
            return {at + static_cast<std::int64_t>(*marker), true};
        }
        return {at + static_cast<std::int64_t>(ChunkBytes - EndMarker.size()) + 1, false};
    };
    for (std::int64_t chunk = from; chunk < ReadLimit; chunk += ChunkBytes) {
        if (mayReuse) {
            const auto marker = gap_.Find(base, base + chunk, base + ReadLimit + ChunkBytes, advance);
            if (!marker) {
                return std::nullopt;
            }
            chunk += (*marker - base - chunk) / ChunkBytes * ChunkBytes;
        }
        reader.Seek(chunk);
        if (chunk >= ReadLimit || !reader.Read(bytes.data(), ChunkBytes)) {
            return std::nullopt;
        }
        if (const auto marker = EndMarker.FindIn(ByteSpan(bytes).first(ChunkBytes - 1))) {
            return chunk + static_cast<std::int64_t>(*marker + EndMarker.size());
        }
    }
    return std::nullopt;
}
