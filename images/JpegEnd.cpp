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
    budget_.EnterBlock(block);
    if (!row_.Enter(block)) {
        gap_.Forget();
        linksCleared_ = false;
    }
}

std::optional<std::int64_t> JpegEndSearch::FindEnd(const Candidate& candidate) {
    if (!linksCleared_ || Memories::areOff) {
        links_.fill({});
        linksCleared_ = true;
    }
    mayReuse_ = KFileSimulator::Serves(candidate.block);
    const std::int64_t base = row_.PlaceOf(candidate.startSector);
    budget_.BeginWalk();
    KFileSimulator reader(&candidate.block, candidate.startSector, ReadLimit, &budget_);
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
    while (reader.Tell() < ReadLimit && !budget_.IsExhausted()) {
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
    for (std::int64_t chunk = reader.Tell(); chunk < ReadLimit; chunk += ChunkBytes) {
        if (mayReuse_) {
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
