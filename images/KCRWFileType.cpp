#include "images/KCRWFileType.h"

#include <algorithm>
#include <array>
#include <vector>

#include "formats/CanonTrailer.h"
#include "frame/bytes/PlaceSearch.h"
#include "frame/read/FileWindow.h"
#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::int64_t HeapStart = 0x1A;

// These cameras write 2 to 12 MiB a picture.
constexpr std::int64_t SearchBytes = 0x2000000;
constexpr std::size_t ReadAheadBytes = 0x10000;

// A directory is a count, the entries, and the directory's own offset in the heap.
constexpr std::size_t FewestEntries = 2;
constexpr std::size_t MostEntries = 32;
constexpr std::size_t CountBytes = 2;
constexpr std::size_t EntryBytes = 10;
constexpr std::size_t OwnOffsetBytes = 4;
constexpr std::size_t DirectoryBytes(std::size_t entries) { return CountBytes + entries * EntryBytes + OwnOffsetBytes; }
constexpr std::size_t MostDirectoryBytes = DirectoryBytes(MostEntries);

constexpr std::uint16_t RawTag = 0x2005;
constexpr std::uint16_t JpegTag = 0x2007;
constexpr std::uint16_t PropertiesTag = 0x300A;
// These bits are clear if the value is in the heap.
constexpr std::uint16_t PlaceBits = 0xC000;

struct Extent {
    std::uint64_t start;
    std::uint64_t end;
};

// `entries` are all entries of a directory. Their values must lie in the heap's first `heapBytes` without overlapping.
bool IsRoot(ByteSpan entries, std::uint64_t heapBytes) {
    std::array<Extent, MostEntries> extents{};
    std::size_t count = 0;
    bool hasPicture = false;
    bool hasProperties = false;
    for (std::size_t at = 0; at < entries.size(); at += EntryBytes) {
        const auto tag = LoadLittle<std::uint16_t>(entries, at);
        hasPicture = hasPicture || tag == RawTag || tag == JpegTag;
        hasProperties = hasProperties || tag == PropertiesTag;
        if ((tag & PlaceBits) == 0) {
            const std::uint64_t size = LoadLittle<std::uint32_t>(entries, at + 2);
            const std::uint64_t start = LoadLittle<std::uint32_t>(entries, at + 6);
            if (size != 0) {
                extents[count++] = {start, start + size};
            }
        }
    }
    const auto inUse = std::span(extents).first(count);
    std::ranges::sort(inUse, {}, &Extent::start);
    std::uint64_t free = 0;
    for (const Extent& extent : inUse) {
        if (extent.start < free || extent.end > heapBytes) {
            return false;
        }
        free = extent.end;
    }
    return hasPicture && hasProperties;
}

// Offset in `bytes` of the end of the root directory. `start` is the file offset of `bytes`. Few places in a picture
// look like the start of a directory, and those are charged extra.
std::optional<std::size_t> FindRootEnd(ByteSpan bytes, std::int64_t start, Budget& budget) {
    constexpr std::int64_t placeCost = 64;
    const auto entriesAt = [bytes](std::size_t place) {
        return std::size_t{LoadLittle<std::uint16_t>(bytes, place)};
    };
    const auto difference = [](const std::uint8_t* place) {
        return static_cast<std::uint8_t>(place[1] | (place[0] < FewestEntries ? 1 : 0) |
                                         (place[0] > MostEntries ? 1 : 0));
    };
    const auto isRoot = [&](std::size_t place) {
        budget.Charge(placeCost);
        const std::int64_t offset = start + static_cast<std::int64_t>(place) - HeapStart;
        const std::size_t entriesBytes = entriesAt(place) * EntryBytes;
        return offset > 0 && place + DirectoryBytes(entriesAt(place)) <= bytes.size() &&
               LoadLittle<std::uint32_t>(bytes, place + CountBytes + entriesBytes) == offset &&
               IsRoot(bytes.subspan(place + CountBytes, entriesBytes), static_cast<std::uint64_t>(offset));
    };
    const std::optional<std::size_t> root =
        bytes.size() < DirectoryBytes(FewestEntries)
            ? std::nullopt
            : FindPlace(bytes.data(), 0, bytes.size() - DirectoryBytes(FewestEntries) + 1, difference, isRoot);
    return root ? std::optional(*root + DirectoryBytes(entriesAt(*root))) : std::nullopt;
}

// Programs that add the trailer later put a pad byte before it if its length is odd.
std::int64_t EndOfTrailer(KFileSimulator& reader, std::int64_t end) {
    for (const std::int64_t start : {end, end + 1}) {
        if (const std::int64_t behind = CanonTrailer::EndBehind(reader, start); behind != start) {
            return behind;
        }
    }
    return end;
}

// The bytes before the next picture's header, which is at a sector start and never inside a picture. `start` is the
// file offset of `bytes`.
ByteSpan BeforeNextHeader(ByteSpan bytes, std::int64_t start, std::int64_t sectorSize) {
    const std::int64_t first = std::max((start + sectorSize - 1) / sectorSize, std::int64_t{1}) * sectorSize - start;
    for (auto at = static_cast<std::size_t>(first); at < bytes.size(); at += static_cast<std::size_t>(sectorSize)) {
        if (StartsWith(bytes.subspan(at), KCRWFileType::Signature)) {
            return bytes.first(at);
        }
    }
    return bytes;
}

}  // namespace

std::optional<std::int64_t> KCRWFileType::Measure(const Candidate& candidate) {
    memory_.BeginWalk();
    const std::int64_t limit = std::min(SearchBytes, MediumSize(candidate.block));
    KFileSimulator reader(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(Identity.maxSize));
    std::vector<std::uint8_t> ahead(ReadAheadBytes);
    // A directory may straddle two pieces.
    constexpr auto step = static_cast<std::int64_t>(ReadAheadBytes - MostDirectoryBytes);
    bool goesOn = true;
    for (std::int64_t start = 0; goesOn && start < limit && !memory_.IsExhausted(); start += step) {
        memory_.Charge(ReadAheadBytes);
        reader.Seek(start);
        // If the piece cannot be read whole, the picture may end in the readable part.
        reader.Read(ahead.data(), ReadAheadBytes);
        const ByteSpan wasRead = ByteSpan(ahead).first(static_cast<std::size_t>(reader.Tell() - start));
        const ByteSpan bytes = BeforeNextHeader(wasRead, start, candidate.block.sectorSize);
        goesOn = bytes.size() == ReadAheadBytes;
        if (const std::optional<std::size_t> rootEnd = FindRootEnd(bytes, start, memory_)) {
            return EndOfTrailer(reader, start + static_cast<std::int64_t>(*rootEnd));
        }
    }
    return std::nullopt;
}
