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
constexpr std::int64_t ChunkBytes = 0x7E00;

constexpr auto EndMarkerBytes = PatternOf("\xFF\xD9");
constexpr BytePattern EndMarker{EndMarkerBytes};

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

// Reads chunks of the end search, each behind the last byte of the one in front of it. Media with sectors that cannot
// be read show bytes there that depend on what is read in which order: so no byte is read but in its chunk.
class JpegEndSearch::Chunks {
public:
    Chunks(KFileSimulator& reader, std::int64_t first) : reader_(reader), first_(first) {}

    std::int64_t StartOf(std::int64_t position) const { return position - (position - first_) % ChunkBytes; }

    /// False if the chunk cannot be read whole.
    bool Load(std::int64_t start) {
        if (start == start_) {
            return true;
        }
        bytes_[0] = start == start_ + ChunkBytes ? bytes_.back() : std::uint8_t{0};
        reader_.Seek(start);
        start_ = reader_.Read(bytes_.data() + 1, ChunkBytes) ? start : -1;
        return start_ == start;
    }

    ByteSpan Bytes() const { return ByteSpan(bytes_).subspan(1); }
    /// With the byte in front of the chunk.
    ByteSpan BytesBehindLast() const { return bytes_; }

private:
    KFileSimulator& reader_;
    std::int64_t first_;
    std::int64_t start_ = -1;
    std::array<std::uint8_t, 1 + ChunkBytes> bytes_{};
};

// Steps to the next end marker at any place, chunk by chunk.
Gap::Step JpegEndSearch::NextMarker(Chunks& chunks, std::int64_t base, std::int64_t at) const {
    const std::int64_t position = at - base;
    const std::int64_t start = chunks.StartOf(position);
    // A marker at the last byte shows in the next chunk.
    const bool isLast = position == start + ChunkBytes - 1;
    if (budget_.IsExhausted() || !chunks.Load(start) || (isLast && !chunks.Load(start + ChunkBytes))) {
        return {at, false};
    }
    if (isLast) {
        return {at + (HasPatternAt(chunks.BytesBehindLast(), 0, EndMarkerBytes) ? 0 : 1),
                HasPatternAt(chunks.BytesBehindLast(), 0, EndMarkerBytes)};
    }
    const ByteSpan bytes = chunks.Bytes();
    if (const auto marker = EndMarker.FindIn(bytes, static_cast<std::size_t>(position - start))) {
        return {base + start + static_cast<std::int64_t>(*marker), true};
    }
    return {base + start + ChunkBytes - (bytes.back() == MarkerPrefix ? 1 : 0), false};
}

std::optional<std::int64_t> JpegEndSearch::SearchEndMarker(const Candidate& candidate, std::int64_t from) {
    // Every read of the candidate succeeds, so what others have shown holds for it too.
    const bool mayReuse = KFileSimulator::Serves(candidate.block);
    const std::int64_t base = row_.PlaceOf(candidate.startSector);
    KFileSimulator reader(&candidate.block, candidate.startSector, ReadLimit, &budget_);
    Chunks chunks(reader, from);
    for (std::int64_t start = from; start < ReadLimit; start += ChunkBytes) {
        if (mayReuse) {
            const std::int64_t end = chunks.StartOf(ReadLimit - 1) + ChunkBytes;
            const auto marker = gap_.Find(base, base + start, base + end, [&](std::int64_t at, std::int64_t /*end*/) {
                return NextMarker(chunks, base, at);
            });
            if (!marker) {
                return std::nullopt;
            }
            start = chunks.StartOf(*marker - base);
        }
        if (!chunks.Load(start)) {
            return std::nullopt;
        }
        if (const auto marker = EndMarker.FindIn(chunks.Bytes().first(ChunkBytes - 1))) {
            return start + static_cast<std::int64_t>(*marker + EndMarker.size());
        }
    }
    return std::nullopt;
}
