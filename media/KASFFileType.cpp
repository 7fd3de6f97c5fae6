#include "media/KASFFileType.h"

#include <algorithm>
#include <array>

#include "frame/bytes/BoundedText.h"
#include "frame/read/KFileSimulator.h"
#include "frame/read/TraceMessage.h"
#include "media/BlockReader.h"

namespace {

constexpr auto HeaderObject = PatternOf("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C");
constexpr auto FileProperties = PatternOf("\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65");
constexpr auto StreamProperties = PatternOf("\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65");
constexpr auto AudioMedia = PatternOf("\x40\x9E\x69\xF8\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B");
constexpr auto VideoMedia = PatternOf("\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B");

constexpr std::int64_t ReadLimit = 0x2000000000;
constexpr std::int32_t MinReportLength = 256;
// Objects examined in one header.
constexpr std::uint32_t MostObjects = 32;

struct Header {
    std::int32_t fileSize = 0;
    bool hasAudio = false;
    bool hasVideo = false;

    KASFFileType::Kind Kind() const {
        return hasVideo ? KASFFileType::Video : hasAudio ? KASFFileType::Audio : KASFFileType::Other;
    }
};

// Sizes have 64 bits; only the lower half is used, as a signed number.
std::int32_t LoadSize(ByteSpan bytes, std::size_t offset) {
    return static_cast<std::int32_t>(LoadLittle<std::uint32_t>(bytes, offset));
}

// Moves to the end of an object of which `done` bytes are read. Its size may be anything, so the move may go backwards.
template <class Reader>
void SkipRest(Reader& reader, std::int32_t objectSize, std::uint32_t done) {
    reader.Skip(static_cast<std::int32_t>(static_cast<std::uint32_t>(objectSize) - done));
}

// If a read fails, the bytes of the previous read are used again.
template <class Reader>
Header ReadHeader(Reader& reader) {
    std::array<std::uint8_t, 30> start{};
    std::array<std::uint8_t, 24> object{};
    std::array<std::uint8_t, 24> properties{};
    std::array<std::uint8_t, 16> streamType{};
    constexpr auto readBytes = static_cast<std::uint32_t>(object.size());
    Header header;
    reader.Read(start.data(), start.size());
    const std::uint32_t count = std::min(LoadLittle<std::uint32_t>(start, 24), MostObjects);
    for (std::uint32_t i = 0; i < count; ++i) {
        reader.Read(object.data(), readBytes);
        const std::int32_t size = LoadSize(object, 16);
        if (StartsWith(object, FileProperties)) {
            reader.Read(properties.data(), properties.size());
            header.fileSize = LoadSize(properties, 16);
            SkipRest(reader, size, readBytes + properties.size());
        } else if (StartsWith(object, StreamProperties)) {
            reader.Read(streamType.data(), streamType.size());
            header.hasAudio = header.hasAudio || StartsWith(streamType, AudioMedia);
            header.hasVideo = header.hasVideo || StartsWith(streamType, VideoMedia);
            SkipRest(reader, size, readBytes + streamType.size());
        } else {
            SkipRest(reader, size, readBytes);
        }
    }
    return header;
}

// True if the block's bytes alone show that the header gives no length.
bool SaysNoLength(const Candidate& candidate) {
    BlockReader reader(candidate);
    return ReadHeader(reader).fileSize < MinReportLength && !reader.RanOut();
}

void TraceKind(KASFFileType::Kind kind) {
    switch (kind) {
        case KASFFileType::Audio:
            TraceMessage("It may be a WMA file!\r\n");
            break;
        case KASFFileType::Video:
            TraceMessage("It may be a WMV file!\r\n");
            break;
        case KASFFileType::Other:
            TraceMessage("It may be an ASF file!\r\n");
            break;
    }
}

}  // namespace

void KASFFileType::GetTypeName(char* buffer, std::uint32_t capacity) {
    CopyBoundedText(buffer, capacity, "ASF(wma,wmv)");
}

void KASFFileType::GetExtension(char* buffer, std::uint32_t capacity) { CopyBoundedText(buffer, capacity, "asf"); }

// Finds stay in the list until the next block is scanned.
std::int32_t KASFFileType::Reset() {
    maxSize_ = DefaultMaxSize;
    SetScannedBlockKey(FirstBlockKey);
    return 1;
}

std::int32_t KASFFileType::HeaderWords(HeaderWord* words, std::int32_t capacity) {
    return HeaderWordsOf(SectorFilterOf(HeaderObject), words, capacity);
}

void KASFFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* /*sink*/) {
    ForEachSector(*block, SectorFilterOf(HeaderObject), [&](const Candidate& candidate) {
        if (StartsWith(candidate.sector, HeaderObject)) {
            Examine(candidate);
        }
    });
}

// A function of its own: with a reader among its variables, the lambda above would be called for every sector instead
// of being inlined.
void KASFFileType::Examine(const Candidate& candidate) {
    if (SaysNoLength(candidate)) {
        return;
    }
    KFileSimulator reader(&candidate.block, candidate.startSector, ReadLimit);
    const Header header = ReadHeader(reader);
    TraceKind(header.Kind());
    if (header.fileSize >= MinReportLength) {
        AddFound(candidate.startSector, std::min<std::int64_t>(header.fileSize, maxSize_), header.Kind());
    }
}
