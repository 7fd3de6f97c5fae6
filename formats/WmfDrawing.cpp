#include "formats/PictureWalks.h"

#include <algorithm>

namespace {

constexpr std::uint32_t PlaceableKey = 0x9AC6CDD7;
constexpr std::size_t PlaceableBytes = 22;
constexpr std::size_t StandardBytes = 18;
constexpr std::size_t PrefixBytes = PlaceableBytes + StandardBytes;

// Functions of drawing records, as ranges.
struct FunctionRange {
    std::uint16_t first;
    std::uint16_t last;
};
constexpr FunctionRange KnownFunctions[] = {
    {0x001E, 0x001E}, {0x0035, 0x0035}, {0x0037, 0x0037}, {0x00F7, 0x00F8}, {0x0102, 0x0108}, {0x0127, 0x0127},
    {0x012A, 0x012E}, {0x0139, 0x0139}, {0x0142, 0x0142}, {0x0149, 0x0149}, {0x01F0, 0x01F0}, {0x01F9, 0x01F9},
    {0x0201, 0x0201}, {0x0209, 0x020F}, {0x0211, 0x0211}, {0x0213, 0x0214}, {0x0220, 0x0220}, {0x0228, 0x0228},
    {0x0231, 0x0231}, {0x0234, 0x0234}, {0x02FA, 0x02FD}, {0x0324, 0x0325}, {0x0410, 0x0410}, {0x0412, 0x0412},
    {0x0415, 0x0416}, {0x0418, 0x0419}, {0x041B, 0x041B}, {0x041F, 0x041F}, {0x0429, 0x0429}, {0x0436, 0x0436},
    {0x0521, 0x0521}, {0x0538, 0x0538}, {0x0548, 0x0548}, {0x061C, 0x061D}, {0x0626, 0x0626}, {0x062F, 0x062F},
    {0x06FE, 0x06FF}, {0x0817, 0x0817}, {0x081A, 0x081A}, {0x0830, 0x0830}, {0x0922, 0x0922}, {0x0940, 0x0940},
    {0x0A32, 0x0A32}, {0x0B23, 0x0B23}, {0x0B41, 0x0B41}, {0x0D33, 0x0D33}, {0x0F43, 0x0F43}};

bool IsKnownFunction(std::uint16_t function) {
    return std::ranges::any_of(KnownFunctions, [function](const FunctionRange& range) {
        return function >= range.first && function <= range.last;
    });
}

bool IsPlaceable(ByteSpan file) { return LoadLittle<std::uint32_t>(file, 0) == PlaceableKey; }

// The standard header: its type (in memory or on disk), its own length in words, its version.
bool HasStandardStart(ByteSpan header) {
    const auto typeAndLength = LoadLittle<std::uint32_t>(header, 0);
    const auto version = LoadLittle<std::uint16_t>(header, 4);
    return (typeAndLength == 0x00090001 || typeAndLength == 0x00090002) && (version == 0x0100 || version == 0x0300);
}

bool IsStandardHeader(ByteSpan header, bool mayCountRecords) {
    constexpr std::uint32_t wordsPerRecord = 3;
    constexpr std::uint32_t leastWords = 12;
    constexpr std::uint16_t mostObjects = 4095;
    const auto words = LoadLittle<std::uint32_t>(header, 6);
    const std::uint32_t mostRecords = mayCountRecords ? words / wordsPerRecord : 0;
    return HasStandardStart(header) && words >= leastWords && LoadLittle<std::uint16_t>(header, 10) <= mostObjects &&
           LoadLittle<std::uint32_t>(header, 12) <= words && LoadLittle<std::uint16_t>(header, 16) <= mostRecords;
}

struct RecordWalk {
    // The end of the end record, or the start of a broken one.
    std::int64_t position;
    std::int64_t records = 0;
    bool hasEnd = false;
    // At least one of the first eight records has a known function.
    bool isDrawing = false;
};

RecordWalk WalkRecords(ByteWindow& file, std::int64_t start) {
    constexpr std::uint32_t leastWords = 3;
    constexpr std::uint32_t mostWords = 1U << 22U;
    // A longer record must have a known function: it holds a bitmap or a great many points. Otherwise a random number
    // in a damaged or foreign file would lead far away.
    constexpr std::uint32_t mostUnknownWords = 0x2000;
    constexpr std::int64_t decidingRecords = 8;
    // The cost of stepping to a record, counted in bytes read.
    constexpr std::int64_t recordWork = 64;
    RecordWalk walk{start};
    while (!walk.hasEnd && (walk.isDrawing || walk.records < decidingRecords)) {
        file.Charge(recordWork);
        const ByteSpan record = file.At(walk.position, 6);
        const std::uint32_t words = record.empty() ? 0 : LoadLittle<std::uint32_t>(record, 0);
        if (words < leastWords || words > mostWords) {
            break;
        }
        const auto function = LoadLittle<std::uint16_t>(record, 4);
        if (words > mostUnknownWords && !IsKnownFunction(function)) {
            break;
        }
        walk.isDrawing = walk.isDrawing || IsKnownFunction(function);
        walk.hasEnd = function == 0 && words == leastWords;
        walk.position += std::int64_t{words} * 2;
        ++walk.records;
    }
    return walk;
}

}  // namespace

bool WmfDrawing::IsHeader(ByteSpan sector, bool mayCountRecords) {
    // The rest of the placeable header is ignored: programs get its checksum wrong, and the standard header follows.
    return sector.size() >= PrefixBytes &&
           IsStandardHeader(IsPlaceable(sector) ? sector.subspan(PlaceableBytes) : sector, mayCountRecords);
}

std::optional<WalkedFile> WmfDrawing::Walk(ByteWindow& file) {
    const ByteSpan prefix = file.At(0, PrefixBytes);
    if (prefix.empty()) {
        return std::nullopt;
    }
    const std::size_t start = IsPlaceable(prefix) ? PlaceableBytes : 0;
    const std::int64_t declaredBytes = std::int64_t{LoadLittle<std::uint32_t>(prefix, start + 6)} * 2;
    const std::int64_t declaredEnd = declaredBytes + static_cast<std::int64_t>(start);
    const RecordWalk walk = WalkRecords(file, static_cast<std::int64_t>(start + StandardBytes));
    if (!walk.isDrawing) {
        return std::nullopt;
    }
    // A padding word may follow. The declared size may or may not include the placeable header.
    const std::int64_t padded = walk.position + 2;
    const bool isPadded = walk.hasEnd && (declaredEnd == padded || declaredBytes == padded);
    const std::int64_t end = isPadded ? padded : walk.position;
    // The plain header proves little.
    constexpr std::int64_t convincingRecords = 4;
    if (start == 0 && walk.records < convincingRecords && end != declaredEnd) {
        return std::nullopt;
    }
    if (walk.hasEnd) {
        return WalkedFile{end};
    }
    // A damaged record. The declared size counts if the records lead about that far, or over half of it.
    constexpr std::int64_t mostBeyond = 64;
    const bool isFollowed = walk.position >= declaredEnd - walk.position && walk.position <= declaredEnd + mostBeyond;
    return isFollowed ? std::optional(WalkedFile{declaredEnd, false}) : std::nullopt;
}
