#include "images/JpegEnd.h"

#include <array>

#include "frame/bytes/BytePattern.h"
#include "frame/read/TraceMessage.h"

namespace {

// How far from the header a candidate is read, in bytes.
constexpr std::int64_t ReadLimit = 0x4000000;
// The end marker is searched for in chunks of this many bytes. One that begins in the last two bytes of a chunk is
// missed.
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

// The end marker is searched for from the first baseline frame or scan on.
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

// Reads the medium chunk by chunk, and no byte outside its chunk: what an unreadable sector shows depends on the order
// of the reads.
class JpegEndSearch::Chunks {
public:
    // The bytes are filled before they are read.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
    Chunks(KFileSimulator& reader, std::int64_t first) : reader_(reader), first_(first) {}

    std::int64_t StartOf(std::int64_t position) const { return position - (position - first_) % ChunkBytes; }

    /// False if the chunk cannot be read whole.
    bool Load(std::int64_t start) {
        if (start == start_) {
            return true;
        }
        bytes_[0] = start_ >= 0 && start == start_ + ChunkBytes ? bytes_.back() : std::uint8_t{0};
        reader_.Seek(start);
        start_ = reader_.Read(bytes_.data() + 1, ChunkBytes) ? start : -1;
        return start_ == start;
    }

    ByteSpan Bytes() const { return ByteSpan(bytes_).subspan(1); }
    /// The chunk, with the byte before it.
    ByteSpan BytesWithPrevious() const { return bytes_; }

private:
    KFileSimulator& reader_;
    std::int64_t first_;
    std::int64_t start_ = -1;
    std::array<std::uint8_t, 1 + ChunkBytes> bytes_;
};

// One step towards the next end marker, wherever it begins: within a chunk, or to the next chunk.
Gap::Step JpegEndSearch::NextMarker(Chunks& chunks, std::int64_t base, std::int64_t at) const {
    const std::int64_t position = at - base;
    const std::int64_t start = chunks.StartOf(position);
    // A marker that starts at the last byte needs the next chunk.
    const bool isLast = position == start + ChunkBytes - 1;
    if (budget_.IsExhausted() || !chunks.Load(start) || (isLast && !chunks.Load(start + ChunkBytes))) {
        return {at, false};
    }
    if (isLast) {
        return {at + (HasPatternAt(chunks.BytesWithPrevious(), 0, EndMarkerBytes) ? 0 : 1),
                HasPatternAt(chunks.BytesWithPrevious(), 0, EndMarkerBytes)};
    }
    const ByteSpan bytes = chunks.Bytes();
    if (const auto marker = EndMarker.FindIn(bytes, static_cast<std::size_t>(position - start))) {
        return {base + start + static_cast<std::int64_t>(*marker), true};
    }
    return {base + start + ChunkBytes - (bytes.back() == MarkerPrefix ? 1 : 0), false};
}

std::optional<std::int64_t> JpegEndSearch::SearchEndMarker(const Candidate& candidate, std::int64_t from) {
    // What earlier candidates found holds for this one only if none of its reads can fail.
    const bool mayReuse = KFileSimulator::Serves(candidate.block);
    const std::int64_t base = offsets_.PlaceOf(candidate.startSector);
    Chunks chunks(reader_.Of(candidate, &budget_), from);
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
