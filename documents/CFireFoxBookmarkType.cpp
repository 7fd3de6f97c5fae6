#include "documents/CFireFoxBookmarkType.h"

#include <algorithm>

#include "frame/bytes/BytePattern.h"
#include "frame/bytes/CompareBytesNoCase.h"
#include "frame/bytes/TextBytes.h"

namespace {

constexpr auto Header = PatternOf("<!DOCTYPE NETSCAPE-Bookmark-file-1>");
// The header's line is followed by at least this much of the file, in bytes from the start.
constexpr std::size_t MinHeaderBytes = 49;

constexpr BytePattern Tail = BytePatternOf<"</DL><p>">();
// As many bytes behind the tail decide whether the text goes on.
constexpr std::size_t FollowingBytes = 4;

}  // namespace

bool CFireFoxBookmarkType::IsHeader(ByteSpan sector) {
    return sector.size() >= MinHeaderBytes && CompareBytesNoCase(sector.data(), Header.data(), Header.size()) == 0;
}

std::optional<std::size_t> CFireFoxBookmarkType::FindEnd(ByteSpan sector) {
    // A tail counts only if it and the bytes behind it end before the sector's last byte.
    if (sector.size() <= FollowingBytes + 1) {
        return std::nullopt;
    }
    const ByteSpan searched = sector.first(sector.size() - FollowingBytes - 1);
    std::optional<std::size_t> start = Tail.FindIn(searched);
    for (; start; start = Tail.FindIn(searched, *start + 1)) {
        const std::size_t end = *start + Tail.size();
        if (!std::ranges::all_of(sector.subspan(end, FollowingBytes), IsTextByte)) {
            return end;
        }
    }
    return std::nullopt;
}
