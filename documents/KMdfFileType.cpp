#include "documents/KMdfFileType.h"

#include <algorithm>
#include <array>

#include "documents/LastClearBit.h"
#include "frame/bytes/Bytes.h"

namespace {

constexpr std::size_t PageBytes = 8192;
constexpr std::size_t PageHeaderBytes = 96;
constexpr std::uint32_t FileHeaderObject = 99;
constexpr auto FreeSpaceMark = PatternOf("\x01\x0B");
constexpr auto FreeExtentsMark = PatternOf("\x01\x08");
constexpr auto SharedExtentsMark = PatternOf("\x01\x09");
constexpr std::uint32_t FreeSpacePage = 1;
constexpr std::uint32_t FreeExtentsPage = 2;
constexpr std::uint32_t SharedExtentsPage = 3;

constexpr std::uint64_t FewestPages = 24;
constexpr std::uint64_t MostPages = std::uint64_t{1} << 31U;
constexpr std::uint64_t PagesPerExtent = 8;
// A map of extents is a row with a header and one bit per extent.
constexpr std::size_t MapHeadBytes = 4;
constexpr std::size_t MapBytes = 7988;
constexpr std::uint64_t PagesPerMap = MapBytes * 8 * PagesPerExtent;
// Row offsets are stored backwards from the page's end.
constexpr std::size_t SecondRowOffset = PageBytes - 4;

std::uint16_t Load16(ByteSpan bytes, std::size_t offset) { return LoadLittle<std::uint16_t>(bytes, offset); }
std::uint32_t Load32(ByteSpan bytes, std::size_t offset) { return LoadLittle<std::uint32_t>(bytes, offset); }

using Page = std::array<std::uint8_t, PageBytes>;

// Torn-page detection writes a count into the last two bits of every sector of a page except the first. The original
// bits are in the header.
void UndoTornPageMarks(Page& page) {
    constexpr std::size_t flags = 4;
    constexpr std::uint16_t isMarked = 0x0100;
    constexpr std::size_t savedBits = 60;
    constexpr std::size_t pieceBytes = 512;
    constexpr unsigned markBits = 3;
    if ((Load16(page, flags) & isMarked) == 0) {
        return;
    }
    const std::uint32_t saved = Load32(page, savedBits);
    for (unsigned piece = 1; piece < PageBytes / pieceBytes; ++piece) {
        std::uint8_t& last = page[(piece + 1) * pieceBytes - 1];
        last = static_cast<std::uint8_t>((last & ~markBits) | (saved >> (2 * piece) & markBits));
    }
}

bool ReadPage(FileWindow& file, std::uint64_t number, Page& page) {
    const ByteSpan bytes = file.At(static_cast<std::int64_t>(number * PageBytes), PageBytes);
    if (bytes.empty()) {
        return false;
    }
    std::ranges::copy(bytes, page.begin());
    UndoTornPageMarks(page);
    return true;
}

bool HasPlace(ByteSpan page, std::uint32_t number, std::uint16_t fileId) {
    return Load32(page, 32) == number && Load16(page, 36) == fileId;
}

bool IsFileHeaderPage(ByteSpan page) {
    const auto isZero = [](std::uint8_t byte) {
        return byte == 0;
    };
    return StartsWith(page, KMdfFileType::Signature) && std::ranges::all_of(page.subspan(8, 6), isZero) &&
           std::ranges::all_of(page.subspan(16, 6), isZero) && Load16(page, 22) == 1 &&
           Load32(page, 24) == FileHeaderObject && Load16(page, 30) < PageBytes && Load32(page, 32) == 0 &&
           Load16(page, 36) != 0;
}

template <std::size_t N>
bool IsMapPage(FileWindow& file, std::uint32_t number, const Pattern<N>& mark, std::uint16_t fileId) {
    const ByteSpan page = file.At(std::int64_t{number} * std::int64_t{PageBytes}, PageHeaderBytes);
    return StartsWith(page, mark) && HasPlace(page, number, fileId);
}

// The bytes of a record's variable-width column; empty if the record does not have it.
ByteSpan VariableColumn(ByteSpan record, std::size_t column) {
    const std::size_t columnCount = Load16(record, 2);
    if (columnCount + 2 > record.size()) {
        return {};
    }
    const std::size_t variableCount = columnCount + 2 + (Load16(record, columnCount) + std::size_t{7}) / 8;
    if (variableCount + 2 > record.size()) {
        return {};
    }
    const std::size_t ends = variableCount + 2;
    const std::size_t data = ends + 2 * std::size_t{Load16(record, variableCount)};
    if (data > record.size() || column >= Load16(record, variableCount)) {
        return {};
    }
    const std::size_t begin = column == 0 ? data : Load16(record, ends + 2 * (column - 1));
    const std::size_t end = Load16(record, ends + 2 * column);
    return data <= begin && begin <= end && end <= record.size() ? record.subspan(begin, end - begin) : ByteSpan();
}

std::optional<std::uint32_t> NumberColumn(ByteSpan record, std::size_t column) {
    const ByteSpan bytes = VariableColumn(record, column);
    return bytes.size() == 4 ? std::optional(Load32(bytes, 0)) : std::nullopt;
}

// The facts about the file's size in the file header. Growth is in pages or per cent.
struct FileHeader {
    std::uint64_t pages;
    std::uint64_t growth;
    bool growsByPercentage;
};

std::optional<FileHeader> ReadFileHeader(ByteSpan page, std::uint16_t fileId) {
    constexpr std::uint16_t recordStatus = 0x0030;
    constexpr std::uint32_t isPercentage = 0x00100000;
    const ByteSpan record = page.subspan(PageHeaderBytes);
    const ByteSpan id = VariableColumn(record, 2);
    const std::optional<std::uint32_t> pages = NumberColumn(record, 4);
    const std::optional<std::uint32_t> growth = NumberColumn(record, 6);
    if (Load16(record, 0) != recordStatus || id.size() != 2 || Load16(id, 0) != fileId || !pages || !growth ||
        *pages < FewestPages || *pages > MostPages) {
        return std::nullopt;
    }
    return FileHeader{.pages = *pages,
                      .growth = *growth,
                      .growsByPercentage = (NumberColumn(record, 13).value_or(0) & isPercentage) != 0};
}

// The number of pages in a map up to the end of the last extent in use.
std::optional<std::uint64_t> PagesInUse(const Page& page) {
    const std::size_t map = Load16(page, SecondRowOffset) + MapHeadBytes;
    if (map < PageHeaderBytes || map + MapBytes > SecondRowOffset) {
        return std::nullopt;
    }
    const std::optional<std::size_t> extent = LastClearBit(ByteSpan(page).subspan(map, MapBytes));
    return extent ? (*extent + 1) * PagesPerExtent : 0;
}

// The same for all maps. Each later map is on the first page that it covers.
std::uint64_t AllPagesInUse(FileWindow& file, std::uint16_t fileId, Page& page) {
    std::uint64_t inUse = 0;
    for (std::uint64_t first = 0; first < MostPages; first += PagesPerMap) {
        const std::uint64_t number = first == 0 ? FreeExtentsPage : first;
        if (!ReadPage(file, number, page) || !StartsWith(page, FreeExtentsMark) ||
            !HasPlace(page, static_cast<std::uint32_t>(number), fileId)) {
            break;
        }
        const std::optional<std::uint64_t> ofMap = PagesInUse(page);
        if (!ofMap) {
            break;
        }
        inUse = *ofMap == 0 ? inUse : first + *ofMap;
    }
    return inUse;
}

// By how many pages a file grows at a time: the percentage in whole extents, halves rounded to even.
std::uint64_t PercentageStep(std::uint64_t pages, std::uint64_t percentage) {
    constexpr std::uint64_t extent = 100 * PagesPerExtent;
    const std::uint64_t hundredths = pages * percentage;
    std::uint64_t extents = hundredths / extent;
    const std::uint64_t rest = hundredths % extent;
    if (rest > extent / 2 || (rest == extent / 2 && extents % 2 == 1)) {
        ++extents;
    }
    return std::max<std::uint64_t>(extents, 1) * PagesPerExtent;
}

std::uint64_t GrownTo(const FileHeader& header, std::uint64_t inUse) {
    std::uint64_t pages = header.pages;
    if (pages >= inUse || header.growth == 0) {
        return std::max(pages, inUse);
    }
    if (!header.growsByPercentage) {
        return pages + (inUse - pages + header.growth - 1) / header.growth * header.growth;
    }
    // Few steps: above some hundred pages, each adds at least 1 %.
    while (pages < inUse) {
        pages += PercentageStep(pages, header.growth);
    }
    return pages;
}

}  // namespace

std::optional<std::int64_t> KMdfFileType::Walk(FileWindow& file) {
    const ByteSpan start = file.At(0, PageHeaderBytes);
    if (start.empty() || !IsFileHeaderPage(start)) {
        return std::nullopt;
    }
    const std::uint16_t fileId = Load16(start, 36);
    if (!IsMapPage(file, FreeSpacePage, FreeSpaceMark, fileId) ||
        !IsMapPage(file, FreeExtentsPage, FreeExtentsMark, fileId) ||
        !IsMapPage(file, SharedExtentsPage, SharedExtentsMark, fileId)) {
        return std::nullopt;
    }
    Page page{};
    const bool hasFirstPage = ReadPage(file, 0, page);
    const std::optional<FileHeader> header = hasFirstPage ? ReadFileHeader(page, fileId) : std::nullopt;
    const std::uint64_t inUse = AllPagesInUse(file, fileId, page);
    const std::uint64_t grown = header ? GrownTo(*header, inUse) : inUse;
    // Growth past the largest file is ignored.
    const std::uint64_t pages = grown <= MostPages ? grown : inUse;
    return pages < FewestPages ? std::nullopt : std::optional(static_cast<std::int64_t>(pages * PageBytes));
}
