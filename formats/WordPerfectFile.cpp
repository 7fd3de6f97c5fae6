#include "formats/WordPerfectFile.h"

#include <algorithm>

#include "frame/contract/FileTypeCatalog.h"

namespace {

constexpr std::size_t PrefixBytes = 24;
constexpr std::int64_t LargestFile = FileTypeCatalog[FileTypeIndex::Wpd].maxSize;
// An index begins with a packet: flags, type and length.
constexpr auto IndexOf5 = PatternOf("\xFB\xFF\x05\0\x32\0");
constexpr std::size_t IndexPlace = 16;

enum class Generation : std::uint8_t { None, Five, Six, Macintosh };

Generation GenerationOf(ByteSpan header) {
    constexpr std::uint8_t wordPerfect = 1;
    constexpr std::uint8_t document = 0x0A;
    constexpr std::uint8_t macintoshDocument = 0x2C;
    constexpr std::uint8_t vaxDocument = 0x2D;
    const std::uint8_t fileType = header[9];
    const std::uint8_t major = header[10];
    if (header[8] != wordPerfect) {
        return Generation::None;
    }
    if (fileType == macintoshDocument) {
        return major >= 2 && major <= 4 ? Generation::Macintosh : Generation::None;
    }
    if (fileType == document && major == 2) {
        return Generation::Six;
    }
    const bool hasCodesOf5 = (fileType == document || fileType == vaxDocument) && major == 0;
    return hasCodesOf5 && HasPatternAt(header, IndexPlace, IndexOf5) ? Generation::Five : Generation::None;
}

// Offset of the document area. Macintosh programs write it in either byte order; the wrong order gives the larger
// number.
std::int64_t AreaStart(ByteSpan header, Generation generation) {
    const auto little = LoadLittle<std::uint32_t>(header, 4);
    const auto big = LoadBig<std::uint32_t>(header, 4);
    return generation == Generation::Macintosh ? std::min(little, big) : little;
}

bool IsAreaStart(std::int64_t start) { return start >= 16 && start < LargestFile; }

bool IsEncrypted(ByteSpan header) { return header[12] != 0 || header[13] != 0; }

// The length that a newer document's header declares, if any.
std::optional<std::int64_t> SaidLength(ByteSpan header) {
    constexpr std::uint16_t extendedHeader = 0x18;
    constexpr std::uint8_t extendedMark = 5;
    if (LoadLittle<std::uint16_t>(header, 14) < extendedHeader || header[16] != extendedMark) {
        return std::nullopt;
    }
    return LoadLittle<std::uint32_t>(header, 20);
}

bool IsSoundLength(std::int64_t length, std::int64_t areaStart) {
    constexpr std::int64_t shortest = 0x200;
    // Documents with pictures may exceed the cap.
    constexpr std::int64_t longest = 0x10000000;
    return length >= areaStart && length >= shortest && length <= longest;
}

// The end of the data that release 5's chain of indices names.
std::int64_t IndexedEnd(ByteWindow& file) {
    constexpr std::size_t indexBytes = 50;
    constexpr std::size_t firstEntry = 10;
    constexpr std::size_t entryBytes = 10;
    constexpr std::uint16_t lastDataType = 0xFF;
    constexpr std::int32_t mostIndices = 256;
    std::int64_t end = 0;
    std::int64_t place = IndexPlace;
    for (std::int32_t i = 0; i < mostIndices && place != 0; ++i) {
        const ByteSpan index = file.At(place, indexBytes);
        if (index.empty() || !StartsWith(index, IndexOf5)) {
            break;
        }
        for (std::size_t entry = firstEntry; entry < indexBytes; entry += entryBytes) {
            const auto type = LoadLittle<std::uint16_t>(index, entry);
            const std::int64_t dataEnd =
                std::int64_t{LoadLittle<std::uint32_t>(index, entry + 2)} + LoadLittle<std::uint32_t>(index, entry + 6);
            if (type != 0 && type <= lastDataType && dataEnd <= LargestFile) {
                end = std::max(end, dataEnd);
            }
        }
        place = LoadLittle<std::uint32_t>(index, 6);
    }
    return end;
}

}  // namespace

bool IsWordPerfectHeader(ByteSpan sector) {
    if (sector.size() < PrefixBytes) {
        return false;
    }
    const Generation generation = GenerationOf(sector);
    return generation != Generation::None && IsAreaStart(AreaStart(sector, generation)) &&
           (generation == Generation::Six || !IsEncrypted(sector));
}

std::optional<WordPerfectFile> WalkWordPerfect(ByteWindow& file, WordPerfectEnd rule) {
    const ByteSpan header = file.At(0, PrefixBytes);
    if (header.empty()) {
        return std::nullopt;
    }
    const Generation generation = GenerationOf(header);
    const std::int64_t start = AreaStart(header, generation);
    const auto walked = [&](WordPerfectCodes codes) -> std::optional<WordPerfectFile> {
        const std::optional<std::int64_t> end = WordPerfectAreaEnd(file, codes, start, rule);
        return end ? std::optional(WordPerfectFile{*end, false}) : std::nullopt;
    };
    if (generation == Generation::Macintosh) {
        return walked(WordPerfectCodes::Macintosh);
    }
    if (generation == Generation::Six) {
        if (const std::optional<std::int64_t> length = SaidLength(header)) {
            return IsSoundLength(*length, start) ? std::optional(WordPerfectFile{*length, true}) : std::nullopt;
        }
        return IsEncrypted(header) ? std::nullopt : walked(WordPerfectCodes::Release6);
    }
    std::optional<WordPerfectFile> release5 = walked(WordPerfectCodes::Release5);
    if (release5) {
        release5->size = std::max(release5->size, IndexedEnd(file));
    }
    return release5;
}
