#include "media/KMP3FileType.h"

#include <array>

#include "frame/bytes/PlaceSearch.h"
#include "frame/read/KFileSimulator.h"
#include "media/BlockReader.h"
#include "media/MpegAudioFrames.h"

namespace {

constexpr std::size_t MinSectorBytes = 3;
// The size of an ID3v2 tag is not read; the first frame is searched for from here on.
constexpr std::int64_t TagSearchStart = 128;
// Places searched in 65536 bytes: the last one of a sync word is left out.
constexpr std::int64_t SyncPlaces = 65534;
constexpr std::int64_t EndTagPlaces = 65533;
constexpr std::int64_t EndTagBytes = 128;

constexpr std::int64_t LengthLimit = 0x4000000;
constexpr std::int32_t MostFrames = 30000;
constexpr std::int32_t LeastFrames = 10;
constexpr std::int32_t LeastFrameBytes = 4;

// Patterns to search for: `Bytes` is their length, `Difference` gives 0 where they match and nowhere else.

// MPEG-1 Layer III, with or without a checksum.
struct FrameSync {
    static constexpr std::size_t Bytes = 2;
    static std::uint8_t Difference(const std::uint8_t* bytes) {
        return static_cast<std::uint8_t>((bytes[0] ^ 0xFFU) | ((bytes[1] | 1U) ^ 0xFBU));
    }
};
struct Id3v1Tag {
    static constexpr std::size_t Bytes = 3;
    static std::uint8_t Difference(const std::uint8_t* bytes) {
        return static_cast<std::uint8_t>((bytes[0] ^ unsigned{'T'}) | (bytes[1] ^ unsigned{'A'}) |
                                         (bytes[2] ^ unsigned{'G'}));
    }
};

// Position in the candidate's file of the first match among the `count` places from `position` on.
template <class Searched>
std::optional<std::int64_t> FindAhead(Gap& gap, const Candidate& candidate, std::int64_t base, std::int64_t position,
                                      std::int64_t count) {
    constexpr std::size_t places = 4096;
    // Created only if the gap does not know the answer.
    std::optional<KFileSimulator> reader;
    std::array<std::uint8_t, places + Searched::Bytes - 1> piece;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const auto advance = [&](std::int64_t at, std::int64_t /*end*/) -> Gap::Step {
        if (!reader) {
            reader.emplace(&candidate.block, candidate.startSector, LengthLimit);
        }
        reader->Seek(at - base);
        if (!reader->Read(piece.data(), piece.size())) {
            return {at, false};
        }
        // A lambda, since a call through a function pointer would not be vectorised.
        const auto difference = [](const std::uint8_t* place) {
            return Searched::Difference(place);
        };
        const std::optional<std::size_t> hit =
            FindPlace(piece.data(), 0, places, difference, [](std::size_t) { return true; });
        return {at + static_cast<std::int64_t>(hit.value_or(places)), hit.has_value()};
    };
    const std::optional<std::int64_t> place = gap.Find(base, base + position, base + position + count, advance);
    return place ? std::optional(*place - base) : std::nullopt;
}

struct Frames {
    std::int32_t count = 0;
    /// Position after the last frame. A last header with an impossible length counts with that length.
    std::int64_t end;
};

template <class Reader>
Frames WalkFrames(Reader& reader, std::int64_t first, std::int32_t most) {
    MpegAudioFrames stream;
    Frames frames{.end = first};
    while (frames.end >= 0 && frames.end < LengthLimit && frames.count < most) {
        std::array<std::uint8_t, 4> header{};
        reader.Seek(frames.end);
        reader.Read(header.data(), header.size());
        const std::optional<std::int32_t> length = stream.LengthOf(LoadBig<std::uint32_t>(header, 0));
        if (!length) {
            break;
        }
        frames.end += *length;
        if (*length < LeastFrameBytes) {
            break;
        }
        ++frames.count;
    }
    return frames;
}

// True if the block's bytes alone show that there are too few frames.
bool BreaksInBlock(const Candidate& candidate, std::int64_t first) {
    BlockReader reader(candidate);
    return WalkFrames(reader, first, LeastFrames).count < LeastFrames && !reader.RanOut();
}

}  // namespace

std::int32_t KMP3FileType::Reset() {
    row_.Reset();
    return MeasuringScanner::Reset();
}

void KMP3FileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (block->sectorCount < 1) {
        return;
    }
    if (!row_.Enter(*block)) {
        frameGap_.Forget();
        endTagGap_.Forget();
    }
    MeasuringScanner::ScanBlock(block, sink);
}

bool KMP3FileType::IsHeader(ByteSpan sector) {
    return sector.size() >= MinSectorBytes && (FrameSync::Difference(sector.data()) == 0 || StartsWithTag(sector));
}

std::optional<std::int64_t> KMP3FileType::Measure(const Candidate& candidate) {
    if (lastFile_.Continues(candidate.startSector) || !KFileSimulator::Serves(candidate.block)) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> first = FindFirstFrame(candidate);
    if (!first || BreaksInBlock(candidate, *first)) {
        return std::nullopt;
    }
    KFileSimulator reader(&candidate.block, candidate.startSector, LengthLimit);
    const Frames frames = WalkFrames(reader, *first, MostFrames);
    if (frames.count < LeastFrames) {
        return std::nullopt;
    }
    const std::int64_t end = FindEnd(candidate, frames.end);
    if (end >= MinReportLength) {
        lastFile_.Set(candidate.startSector, LastFile::SectorsOf(end, candidate.block.sectorSize));
    }
    return end;
}

bool KMP3FileType::StartsWithTag(ByteSpan sector) { return StartsWith(sector, Id3v2Tag); }

std::optional<std::int64_t> KMP3FileType::FindFirstFrame(const Candidate& candidate) {
    if (!StartsWithTag(candidate.sector)) {
        return 0;
    }
    const std::int64_t base = row_.PlaceOf(candidate.startSector);
    const std::optional<std::int64_t> first =
        FindAhead<FrameSync>(frameGap_, candidate, base, TagSearchStart, SyncPlaces);
    // A sync word right where the search begins counts as part of the tag.
    return first == TagSearchStart ? std::nullopt : first;
}

std::int64_t KMP3FileType::FindEnd(const Candidate& candidate, std::int64_t endOfFrames) {
    const std::int64_t base = row_.PlaceOf(candidate.startSector);
    const std::optional<std::int64_t> tag = FindAhead<Id3v1Tag>(endTagGap_, candidate, base, endOfFrames, EndTagPlaces);
    return tag ? *tag + EndTagBytes : endOfFrames;
}
