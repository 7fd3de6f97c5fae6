#include "formats/IconDirectory.h"

#include <algorithm>
#include <array>

namespace {

using IconDirectory::Kind;

constexpr std::size_t HeaderBytes = 6;
constexpr std::size_t EntryBytes = 16;
constexpr std::size_t MostImages = 128;
constexpr std::uint32_t InfoHeaderBytes = 40;

struct Entry {
    // In pixels; 0 means 256 or more.
    std::uint8_t width;
    std::uint8_t height;
    std::uint8_t reserved;
    // The hot spot of a cursor, in pixels.
    std::uint16_t planes;
    std::uint16_t bits;
    std::int64_t size;
    std::int64_t offset;

    std::int64_t End() const { return offset + size; }
};

// `bytes` holds the whole entry.
Entry LoadEntry(ByteSpan bytes) {
    return {.width = bytes[0],
            .height = bytes[1],
            .reserved = bytes[3],
            .planes = LoadLittle<std::uint16_t>(bytes, 4),
            .bits = LoadLittle<std::uint16_t>(bytes, 6),
            .size = LoadLittle<std::uint32_t>(bytes, 8),
            .offset = LoadLittle<std::uint32_t>(bytes, 12)};
}

std::int64_t DirectoryBytes(std::size_t count) { return static_cast<std::int64_t>(HeaderBytes + EntryBytes * count); }

bool IsEntrySound(const Entry& entry, Kind kind, std::size_t count) {
    constexpr std::array<std::uint16_t, 8> depths{0, 1, 2, 4, 8, 16, 24, 32};
    // Some programs write planes and depth instead of a cursor's hot spot, so it may lie outside a small picture.
    constexpr std::uint16_t mostHotSpot = 256;
    const bool isSpecificSound = kind == Kind::Icon
                                     ? entry.planes <= 1 && std::ranges::find(depths, entry.bits) != depths.end()
                                     : entry.planes <= mostHotSpot && entry.bits <= mostHotSpot;
    return isSpecificSound && (entry.reserved == 0 || entry.reserved == 0xFF) && entry.size >= InfoHeaderBytes &&
           entry.offset >= DirectoryBytes(count);
}

bool IsSide(std::int64_t pixels, std::uint8_t declared) { return declared == 0 ? pixels >= 256 : pixels == declared; }

// A bitmap without its file header. Its height is doubled: the mask's rows count too.
bool IsBitmap(ByteSpan image, const Entry& entry) {
    constexpr std::array<std::uint32_t, 3> headerLengths{InfoHeaderBytes, 108, 124};
    constexpr std::array<std::uint16_t, 6> depths{1, 4, 8, 16, 24, 32};
    constexpr std::int64_t mostPixels = 0x10000;
    const auto headerLength = LoadLittle<std::uint32_t>(image, 0);
    const std::int64_t width = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(image, 4));
    const std::int64_t height = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(image, 8));
    const auto bits = LoadLittle<std::uint16_t>(image, 14);
    const auto compression = LoadLittle<std::uint32_t>(image, 16);
    const auto coloursUsed = LoadLittle<std::uint32_t>(image, 32);
    const bool isDoubled = height % 2 == 0 && IsSide(height / 2, entry.height);
    if (std::ranges::find(headerLengths, headerLength) == headerLengths.end() || !IsSide(width, entry.width) ||
        (!isDoubled && !IsSide(height, entry.height)) || width > mostPixels || height > mostPixels ||
        LoadLittle<std::uint16_t>(image, 12) > 1 || std::ranges::find(depths, bits) == depths.end() ||
        (compression != 0 && compression != 3)) {
        return false;
    }
    std::int64_t colours = 0;
    if (bits <= 8) {
        const std::uint32_t all = 1U << bits;
        colours = coloursUsed == 0 ? all : std::min(coloursUsed, all);
    }
    // Pixels with an alpha channel may do without the mask.
    const std::int64_t colourRows = isDoubled ? height / 2 : height;
    return entry.size >= headerLength + 4 * colours + (width * bits + 31) / 32 * 4 * colourRows;
}

bool IsImage(ByteSpan image, const Entry& entry) {
    constexpr auto pngSignature = PatternOf("\x89PNG\r\n\x1A\n");
    constexpr auto pngHeader = PatternOf("IHDR");
    if (StartsWith(image, pngSignature)) {
        return HasPatternAt(image, 12, pngHeader);
    }
    return IsBitmap(image, entry);
}

// Images follow the directory in any order, without overlaps and almost without gaps.
bool AreRangesSound(std::span<Entry> entries) {
    constexpr std::int64_t mostGap = 64;
    std::ranges::sort(entries, {}, &Entry::offset);
    const std::int64_t directory = DirectoryBytes(entries.size());
    if (entries.front().offset > directory + mostGap) {
        return false;
    }
    std::int64_t used = directory;
    std::int64_t end = directory;
    for (const Entry& entry : entries) {
        if (entry.offset < end) {
            return false;
        }
        used += entry.size;
        end = entry.End();
    }
    return used >= end - end / 10;
}

// The number of images; 0 if this is not a directory of that kind.
std::size_t LoadCount(ByteSpan header, Kind kind) {
    // A zero word, then the kind.
    const std::uint32_t signature = static_cast<std::uint32_t>(kind) << 16U;
    if (header.size() < HeaderBytes || LoadLittle<std::uint32_t>(header, 0) != signature) {
        return 0;
    }
    const std::size_t count = LoadLittle<std::uint16_t>(header, 4);
    return count <= MostImages ? count : 0;
}

}  // namespace

bool IconDirectory::IsHeader(ByteSpan sector, Kind kind) {
    const std::size_t count = LoadCount(sector, kind);
    return count != 0 && sector.size() >= HeaderBytes + EntryBytes &&
           IsEntrySound(LoadEntry(sector.subspan(HeaderBytes)), kind, count);
}

std::optional<std::int64_t> IconDirectory::Measure(ByteWindow& file, Kind kind) {
    const std::size_t count = LoadCount(file.At(0, HeaderBytes), kind);
    const ByteSpan directory = file.At(0, HeaderBytes + EntryBytes * count);
    if (count == 0 || directory.empty()) {
        return std::nullopt;
    }
    std::array<Entry, MostImages> storage{};
    const std::span entries = std::span(storage).first(count);
    for (std::size_t i = 0; i < count; ++i) {
        entries[i] = LoadEntry(directory.subspan(HeaderBytes + EntryBytes * i));
        if (!IsEntrySound(entries[i], kind, count) || entries[i].reserved != entries[0].reserved ||
            entries[i].End() > file.Limit()) {
            return std::nullopt;
        }
    }
    if (!AreRangesSound(entries)) {
        return std::nullopt;
    }
    for (const Entry& entry : entries) {
        const ByteSpan image = file.At(entry.offset, InfoHeaderBytes);
        if (image.empty() || !IsImage(image, entry)) {
            return std::nullopt;
        }
    }
    return entries.back().End();
}
