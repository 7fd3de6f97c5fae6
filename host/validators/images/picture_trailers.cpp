#include "host/validators/images/picture_trailers.h"

#include <algorithm>
#include <array>

#include "formats/CanonTrailer.h"
#include "frame/bytes/FieldReader.h"

namespace salvor {

namespace {

// IPTC data sets begin with this byte, followed by their record number.
constexpr std::uint8_t DataSetMark = 0x1C;

template <class Number>
Number Load(ByteSpan bytes, std::size_t at, bool isBig) {
    return isBig ? LoadBig<Number>(bytes, at) : LoadLittle<Number>(bytes, at);
}

// "AXS!" or, in the other byte order, "AXS*": a directory whose offsets count from the file's start, what it points to,
// and a footer that leads back to the mark.
std::int64_t EndOfDirectory(Place& file, std::int64_t start) {
    constexpr std::size_t headBytes = 12;
    constexpr std::size_t entryBytes = 12;
    constexpr std::int64_t footBytes = 12;
    std::array<std::uint8_t, headBytes> head{};
    if (!file.Copy(start, head) || !StartsWith(head, PatternOf("AXS")) || (head[3] != '!' && head[3] != '*')) {
        return start;
    }
    const bool isBig = head[3] == '!';
    const auto entries = Load<std::uint16_t>(head, 6, isBig);
    std::int64_t end = start + static_cast<std::int64_t>(headBytes + entryBytes * entries);
    for (std::size_t i = 0; i < entries; ++i) {
        const ByteSpan entry = file.At(start + static_cast<std::int64_t>(headBytes + entryBytes * i), entryBytes);
        if (entry.empty()) {
            return start;
        }
        end = std::max(end, std::int64_t{Load<std::uint32_t>(entry, 4, isBig)} + Load<std::uint32_t>(entry, 8, isBig));
    }
    const ByteSpan foot = file.At(end, footBytes);
    const bool leadsBack = !foot.empty() && std::equal(head.begin(), head.begin() + 4, foot.begin()) &&
                           Load<std::uint32_t>(foot, 4, isBig) == start;
    return leadsBack ? end + footBytes : start;
}

// Unframed data sets, then their length and a mark.
std::int64_t EndOfDataSets(Place& file, std::int64_t start) {
    constexpr std::size_t headBytes = 5;
    constexpr std::int64_t most = 0x10000;
    static constexpr auto mark = PatternOf("cbipcbbl");
    std::int64_t at = start;
    for (ByteSpan set = file.At(at, headBytes); !set.empty() && set[0] == DataSetMark && at - start < most;
         set = file.At(at, headBytes)) {
        at += static_cast<std::int64_t>(headBytes) + LoadBig<std::uint16_t>(set, 3);
    }
    const ByteSpan foot = file.At(at, 4 + mark.size());
    const bool isTheirs = at > start && HasPatternAt(foot, 4, mark) && LoadBig<std::uint32_t>(foot, 0) == at - start;
    return isTheirs ? at + static_cast<std::int64_t>(foot.size()) : start;
}

// Blocks that each end with a two-byte number, their own length and a mark. The first one has data sets and begins at
// an even offset.
std::int64_t EndOfFramedBlocks(Place& file, std::int64_t start) {
    constexpr std::int64_t farthest = 0x100000;
    constexpr std::int64_t footBytes = 10;
    static constexpr BytePattern mark = BytePatternOf<"\xA1\xB2\xC3\xD4">();
    std::int64_t end = start + (start & 1);
    const ByteSpan first = file.At(end, 2);
    if (first.empty() || first[0] != DataSetMark || first[1] == 0 || first[1] > 9) {
        return start;
    }
    bool isAny = false;
    std::int64_t from = end;
    while (const auto found = file.Find(mark, from, std::min(file.Limit(), end + farthest))) {
        from = *found + 1;
        const std::int64_t behind = *found + static_cast<std::int64_t>(mark.size());
        const ByteSpan length = file.At(*found - 4, 4);
        if (behind - end >= footBytes && !length.empty() && LoadBig<std::uint32_t>(length, 0) == behind - end) {
            end = behind;
            isAny = true;
        }
    }
    return isAny ? end : start;
}

}  // namespace

std::int64_t EndOfPictureTrailers(Place& file, std::int64_t end) {
    constexpr int mostTrailers = 32;
    for (int i = 0; i < mostTrailers; ++i) {
        const std::int64_t start = end;
        end = EndOfDirectory(file, end);
        end = EndOfDataSets(file, end);
        end = EndOfFramedBlocks(file, end);
        end = CanonTrailer::EndAfter(file, end);
        if (end == start) {
            break;
        }
    }
    return end;
}

}  // namespace salvor
