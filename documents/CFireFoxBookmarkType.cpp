#include "documents/CFireFoxBookmarkType.h"

#include <algorithm>

#include "frame/bytes/BytePattern.h"
#include "frame/bytes/CompareBytesNoCase.h"
#include "frame/bytes/TextBytes.h"

namespace {

constexpr auto Header = PatternOf("<!DOCTYPE NETSCAPE-Bookmark-file-1>");
// The shortest file with a bookmark in it, in bytes.
constexpr std::size_t MinHeaderBytes = 49;

constexpr BytePattern Footer = BytePatternOf<"</DL><p>">();
// How many bytes after the footer are checked for more text.
constexpr std::size_t FollowingBytes = 4;

}  // namespace

bool CFireFoxBookmarkType::IsHeader(ByteSpan sector) {
    return sector.size() >= MinHeaderBytes && CompareBytesNoCase(sector.data(), Header.data(), Header.size()) == 0;
}

std::optional<std::size_t> CFireFoxBookmarkType::FindEnd(ByteSpan sector) {
    // The footer and the checked bytes must end before the sector's last byte.
    if (sector.size() <= FollowingBytes + 1) {
        return std::nullopt;
    }
    const ByteSpan searched = sector.first(sector.size() - FollowingBytes - 1);
    std::optional<std::size_t> start = Footer.FindIn(searched);
    for (; start; start = Footer.FindIn(searched, *start + 1)) {
        const std::size_t end = *start + Footer.size();
        if (!std::ranges::all_of(sector.subspan(end, FollowingBytes), IsTextByte)) {
            return end;
        }
    }
    return std::nullopt;
}
