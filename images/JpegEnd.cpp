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
    // Pieces known to hold no marker need not be read where every read succeeds.
    const bool maySkip = candidate.block.source != nullptr && candidate.block.sectorSize <= KFileSimulator::CacheBytes;
    // The last byte of the piece before, then the piece: a marker across the two is not an end, but it bounds what is
    // free of markers.
    std::array<std::uint8_t, 1 + ChunkBytes> bytes{};
    FreeStretch seen{base + reader.Tell(), base + reader.Tell()};
    while (reader.Tell() < ReadLimit) {
        const std::int64_t position = base + reader.Tell();
        if (maySkip && free_.from < position && free_.to - position >= ChunkBytes) {
            reader.Skip((free_.to - position) / ChunkBytes * ChunkBytes);
            bytes[0] = 0;
            seen.to = base + reader.Tell();
            continue;
        }
        if (!reader.Read(bytes.data() + 1, ChunkBytes)) {
            break;
        }
        const std::int64_t origin = reader.Tell() - static_cast<std::int64_t>(bytes.size());
        auto hit = EndMarker.FindIn(bytes);
        for (; hit; hit = EndMarker.FindIn(bytes, *hit + 1)) {
            const std::int64_t marker = origin + static_cast<std::int64_t>(*hit);
            seen.to = base + marker;
            Remember(seen, base);
            if (*hit > 0 && *hit <= LastSeen) {
                return marker + static_cast<std::int64_t>(EndOfImage.size());
            }
            seen.from = base + marker + 1;
        }
        seen.to = base + origin + static_cast<std::int64_t>(ChunkBytes);
        bytes[0] = bytes.back();
    }
    Remember(seen, base);
    return std::nullopt;
}

// Stretches that meet become one. Of two apart, the longer one saves more, unless it lies in front of all candidates
// to come.
void JpegEndSearch::Remember(const FreeStretch& stretch, std::int64_t candidateStart) {
    if (stretch.from <= free_.to && free_.from <= stretch.to) {
        free_ = {std::min(free_.from, stretch.from), std::max(free_.to, stretch.to)};
    } else if (free_.to <= candidateStart || stretch.to - stretch.from > free_.to - free_.from) {
        free_ = stretch;
    }
}
