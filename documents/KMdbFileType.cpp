#include "documents/KMdbFileType.h"

#include <algorithm>

#include "documents/JetPages.h"
#include "documents/LastClearBit.h"
#include "frame/bytes/Bytes.h"

namespace {

using Look = JetPages::Look;

constexpr auto JetMagic = PatternOf("\0\x01\0\0Standard Jet DB\0");
constexpr auto AceMagic = PatternOf("\0\x01\0\0Standard ACE DB\0");
constexpr std::size_t VersionOffset = 0x14;
constexpr std::uint8_t Jet3 = 0;
constexpr std::size_t KeyOffset = 0x3E;
// The mask over the header's key.
constexpr std::uint32_t KeyMask = 0x4EBC8AFB;
constexpr std::size_t HeaderBytes = KeyOffset + 4;

constexpr std::int64_t FewestPages = 10;
constexpr std::int64_t MapPage = 1;
constexpr auto DataPageMark = PatternOf("\x01\x01");
constexpr auto BitmapPageMark = PatternOf("\x05\x01\0\0");
constexpr std::uint16_t RowOffsetBits = 0x1FFF;
constexpr std::uint8_t InlineMap = 0;
constexpr std::uint8_t ReferenceMap = 1;

constexpr std::int64_t MostFreePagesAfter = 64;
constexpr std::int64_t MostZeroPages = 1024;
constexpr std::int64_t MostStepsBack = 32768;

// The facts from the map of free pages, in which a set bit is a free page.
struct FreeMap {
    std::int64_t lastUsed = MapPage;
    // The last page in the map; 0 if there is no bitmap.
    std::int64_t lastCovered = 0;

    void Add(std::int64_t firstPage, ByteSpan bitmap) {
        lastCovered = std::max(lastCovered, firstPage + static_cast<std::int64_t>(bitmap.size()) * 8 - 1);
        if (const std::optional<std::size_t> bit = LastClearBit(bitmap)) {
            lastUsed = std::max(lastUsed, firstPage + static_cast<std::int64_t>(*bit));
        }
    }
};

// Reads a map whose bitmaps are on pages of their own. A bitmap covers as many pages as it has bits.
FreeMap ReadReferences(JetPages& pages, std::span<const std::int64_t> bitmapPages) {
    FreeMap map;
    std::int64_t first = 0;
    for (const std::int64_t number : bitmapPages) {
        const ByteSpan page = number == 0 || number >= pages.MostPages() ? ByteSpan() : pages.Plain(number);
        if (StartsWith(page, BitmapPageMark)) {
            map.Add(first, page.subspan(BitmapPageMark.size()));
        }
        first += static_cast<std::int64_t>(pages.PageBytes() - BitmapPageMark.size()) * 8;
    }
    return map;
}

// The map is the first row of its page, and rows are stored from the page's end. Nothing if this is no data page.
std::optional<FreeMap> ReadMap(JetPages& pages, std::size_t rowCountOffset) {
    const ByteSpan page = pages.Plain(MapPage);
    if (!StartsWith(page, DataPageMark)) {
        return std::nullopt;
    }
    const std::size_t rowOffsets = rowCountOffset + 2;
    const std::size_t rowOffset = LoadLittle<std::uint16_t>(page, rowOffsets) & RowOffsetBits;
    if (LoadLittle<std::uint16_t>(page, rowCountOffset) == 0 || rowOffset < rowOffsets + 2 ||
        rowOffset >= page.size()) {
        return std::nullopt;
    }
    const ByteSpan row = page.subspan(rowOffset);
    constexpr std::size_t inlineHeadBytes = 5;
    if (row[0] == InlineMap && row.size() > inlineHeadBytes) {
        FreeMap map;
        map.Add(LoadLittle<std::uint32_t>(row, 1), row.subspan(inlineHeadBytes));
        return map;
    }
    if (row[0] != ReferenceMap) {
        return FreeMap{};
    }
    // Enough for the largest file with the smallest pages; anything after that is rubbish.
    std::array<std::int64_t, 65> bitmapPages{};
    const auto bitsPerPage = static_cast<std::int64_t>(page.size() - BitmapPageMark.size()) * 8;
    const std::size_t count =
        std::min((row.size() - 1) / 4, static_cast<std::size_t>((pages.MostPages() - 1) / bitsPerPage + 1));
    for (std::size_t i = 0; i < count; ++i) {
        bitmapPages[i] = LoadLittle<std::uint32_t>(row, 1 + 4 * i);
    }
    return ReadReferences(pages, std::span(bitmapPages).first(count));
}

// The last page after `last` that looks like a database page, with only such pages and zero pages in between.
std::int64_t WalkForward(JetPages& pages, std::int64_t last) {
    for (std::int64_t page = last + 1; page < pages.MostPages() && page - last <= MostZeroPages; ++page) {
        const Look look = pages.LookAt(page);
        if (look == Look::Foreign) {
            break;
        }
        if (look == Look::Marked) {
            last = page;
        }
    }
    return last;
}

// The nearest page before `last` that is not foreign; `last` if there is none nearby.
std::int64_t WalkBack(JetPages& pages, std::int64_t last) {
    for (std::int64_t page = last - 1; page >= std::max(MapPage, last - MostStepsBack); --page) {
        if (pages.LookAt(page) != Look::Foreign) {
            return page;
        }
    }
    return last;
}

std::int64_t LastPage(JetPages& pages, const FreeMap& map) {
    std::int64_t last = map.lastUsed;
    if (map.lastCovered == 0) {
        return WalkForward(pages, MapPage);
    }
    if (pages.LookAt(last) == Look::Foreign) {
        return WalkBack(pages, last);
    }
    // If the map's last page is in use, the file may be longer than the map.
    if (last >= map.lastCovered) {
        return WalkForward(pages, last);
    }
    const std::int64_t end = std::min(last + MostFreePagesAfter, pages.MostPages() - 1);
    while (last < end && pages.LookAt(last + 1) == Look::Marked) {
        ++last;
    }
    return last;
}

}  // namespace

bool KMdbFileType::IsHeader(ByteSpan sector) { return StartsWith(sector, JetMagic) || StartsWith(sector, AceMagic); }

std::optional<std::int64_t> KMdbFileType::Walk(FileWindow& file) {
    const ByteSpan header = file.At(0, HeaderBytes);
    if (header.empty()) {
        return std::nullopt;
    }
    const bool isJet3 = header[VersionOffset] == Jet3;
    const std::int64_t pageBytes = isJet3 ? 2048 : 4096;
    JetPages pages(file, static_cast<std::size_t>(pageBytes), LoadLittle<std::uint32_t>(header, KeyOffset) ^ KeyMask);
    const std::optional<FreeMap> map = ReadMap(pages, isJet3 ? 8 : 12);
    if (!map || map->lastUsed >= pages.MostPages()) {
        return std::nullopt;
    }
    const std::int64_t count = LastPage(pages, *map) + 1;
    return count < FewestPages ? std::nullopt : std::optional(count * pageBytes);
}
