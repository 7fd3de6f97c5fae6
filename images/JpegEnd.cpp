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
// Offset of the last seen marker where the piece begins at offset 1.
constexpr std::size_t LastSeen = ChunkBytes - 2;

constexpr BytePattern EndMarker = BytePatternOf<"\xFF\xD9">();

constexpr std::uint8_t MarkerPrefix = 0xFF;
constexpr std::uint8_t BaselineFrame = 0xC0;
constexpr std::uint8_t StartOfScan = 0xDA;

// What one marker segment says.
enum class Segment { Another, ImageData, Broken };

// Reads the segment at the reader's position and moves behind it.
Segment StepOverSegment(KFileSimulator& reader) {
    std::array<std::uint8_t, 2> marker{};
    std::array<std::uint8_t, 2> lengthField{};
    if (!reader.Read(marker.data(), marker.size()) || marker[0] != MarkerPrefix ||
        !reader.Read(lengthField.data(), lengthField.size())) {
        return Segment::Broken;
    }
    // The length counts its own two bytes.
    const auto length = LoadBig<std::uint16_t>(lengthField, 0);
    if (length < lengthField.size()) {
        return Segment::Broken;
    }
    reader.Skip(length - static_cast<std::int64_t>(lengthField.size()));
    return marker[1] == BaselineFrame || marker[1] == StartOfScan ? Segment::ImageData : Segment::Another;
}

}  // namespace

void JpegEndSearch::EnterBlock(const SectorBlock& block) {
    if (!row_.Enter(block)) {
        free_ = {};
        linksCleared_ = false;
    }
}

std::optional<std::int64_t> JpegEndSearch::FindEnd(const Candidate& candidate) {
    if (!linksCleared_) {
        links_.fill({});
        linksCleared_ = true;
    }
    mayReuse_ = KFileSimulator::Serves(candidate.block);
    const std::int64_t base = row_.PlaceOf(candidate.startSector);
    KFileSimulator reader(&candidate.block, candidate.startSector, ReadLimit);
    reader.Seek(EndMarker.size());
    if (!WalkToImageData(reader, base)) {
        TraceMessage("Neither SOF nor SOS have been found<%u>!\r\n", static_cast<std::uint32_t>(reader.Tell()));
        return std::nullopt;
    }
    return SearchEndMarker(reader, base);
}

// Walks the marker segments to behind the header of the first baseline frame or scan, in front of which no
// entropy-coded data stands. False if the chain breaks or passes the limit.
bool JpegEndSearch::WalkToImageData(KFileSimulator& reader, std::int64_t base) {
    Link* link = nullptr;
    while (reader.Tell() < ReadLimit) {
        link = FollowLink(reader, base, link);
        if (reader.Tell() >= ReadLimit) {
            break;
        }
        const std::int64_t place = base + reader.Tell();
        const Segment segment = StepOverSegment(reader);
        if (segment != Segment::Another) {
            link->to = place;
            return segment == Segment::ImageData;
        }
    }
    if (link != nullptr) {
        link->to = base + reader.Tell();
    }
    return false;
}

// Goes on along the links from the reader's position as far as they lead. Gives the link of the window where the reader
// then stands; `current` is the one that it came from, if any.
JpegEndSearch::Link* JpegEndSearch::FollowLink(KFileSimulator& reader, std::int64_t base, Link* current) {
    for (;;) {
        const std::int64_t place = base + reader.Tell();
        const std::int64_t window = place / WindowBytes;
        if (current != nullptr && current->from / WindowBytes == window) {
            return current;
        }
        if (current != nullptr) {
            current->to = place;
        }
        current = &links_[static_cast<std::size_t>(window % WindowCount)];
        if (!mayReuse_ || current->from != place || current->to == place) {
            *current = {place, place};
            return current;
        }
        reader.Seek(current->to - base);
    }
}

std::optional<std::int64_t> JpegEndSearch::SearchEndMarker(KFileSimulator& reader, std::int64_t base) {
    // The last byte of the piece before, then the piece: a marker across the two is not an end, but it bounds what is
    // free of markers.
    std::array<std::uint8_t, 1 + ChunkBytes> bytes{};
    FreeStretch seen{base + reader.Tell(), base + reader.Tell()};
    while (reader.Tell() < ReadLimit) {
        const std::int64_t position = base + reader.Tell();
        // Pieces known to hold no marker need not be read.
        if (mayReuse_ && free_.from < position && free_.to - position >= ChunkBytes) {
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
                return marker + static_cast<std::int64_t>(EndMarker.size());
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
