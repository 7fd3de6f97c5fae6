#include "images/JpegEnd.h"

#include <algorithm>
#include <array>

#include "frame/ByteMark.h"
#include "frame/TraceMessage.h"

namespace {

// An examination reads no further than this from the header, in bytes.
constexpr std::int64_t ReadLimit = 0x4000000;
// The end search reads in pieces of this many bytes that do not overlap: a marker whose first byte is one of the last
// two of a piece is not seen.
constexpr std::uint32_t ChunkBytes = 0x7E00;
// Offset of the last seen marker where the piece begins at offset 1.
constexpr std::size_t LastSeen = ChunkBytes - 2;

constexpr auto EndOfImage = PatternOf("\xFF\xD9");
constexpr ByteMark EndMarker{EndOfImage};

constexpr std::uint8_t MarkerPrefix = 0xFF;
constexpr std::uint8_t BaselineFrame = 0xC0;
constexpr std::uint8_t StartOfScan = 0xDA;

// Walks the marker segments from the reader's position to behind the header of the first baseline frame or scan, in
// front of which no entropy-coded data stands. False if the chain breaks or passes the limit.
bool WalkToImageData(KFileSimulator& reader) {
    while (reader.Tell() < ReadLimit) {
        std::array<std::uint8_t, 2> marker{};
        std::array<std::uint8_t, 2> lengthField{};
        if (!reader.Read(marker.data(), marker.size()) || marker[0] != MarkerPrefix ||
            !reader.Read(lengthField.data(), lengthField.size())) {
            return false;
        }
        // The length counts its own two bytes.
        const auto length = LoadBig<std::uint16_t>(lengthField, 0);
        if (length < lengthField.size()) {
            return false;
        }
        reader.Skip(length - static_cast<std::int64_t>(lengthField.size()));
        if (marker[1] == BaselineFrame || marker[1] == StartOfScan) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::optional<std::int64_t> JpegEndSearch::FindEnd(const Candidate& candidate) {
    KFileSimulator reader(&candidate.block, candidate.startSector, ReadLimit);
    reader.Seek(EndOfImage.size());
    if (!WalkToImageData(reader)) {
        TraceMessage("Neither SOF nor SOS have been found<%u>!\r\n", static_cast<std::uint32_t>(reader.Tell()));
        return std::nullopt;
    }
    return SearchEndMarker(reader, candidate);
}

std::optional<std::int64_t> JpegEndSearch::SearchEndMarker(KFileSimulator& reader, const Candidate& candidate) {
    const std::int64_t base = candidate.OffsetInBlock();
    const std::int64_t start = base + reader.Tell();
    const bool startsInFree = start >= freeFrom_ && start < freeTo_;
    // Where every read succeeds, pieces known to hold no marker need not be read.
    if (startsInFree && candidate.block.source != nullptr && candidate.block.sectorSize <= KFileSimulator::CacheBytes) {
        reader.Skip((freeTo_ - start) / ChunkBytes * ChunkBytes);
    }
    if (!startsInFree) {
        freeFrom_ = start;
        freeTo_ = start;
    }
    // The last byte of the piece before, then the piece: a marker across the two is not an end, but it bounds what is
    // free of markers.
    std::array<std::uint8_t, 1 + ChunkBytes> bytes;
    bytes[0] = 0;
    bool free = true;
    while (reader.Tell() < ReadLimit && reader.Read(bytes.data() + 1, ChunkBytes)) {
        const std::int64_t origin = reader.Tell() - static_cast<std::int64_t>(bytes.size());
        auto hit = EndMarker.FindIn(bytes);
        if (free) {
            freeTo_ = std::max(freeTo_, base + origin + static_cast<std::int64_t>(hit.value_or(ChunkBytes)));
            free = !hit;
        }
        if (hit == 0U) {
            hit = EndMarker.FindIn(bytes, 1);
        }
        if (hit && *hit <= LastSeen) {
            return origin + static_cast<std::int64_t>(*hit + EndOfImage.size());
        }
        bytes[0] = bytes.back();
    }
    return std::nullopt;
}
