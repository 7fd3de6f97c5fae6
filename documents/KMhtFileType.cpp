#include "documents/KMhtFileType.h"

#include <algorithm>

#include "frame/ByteMark.h"
#include "frame/PlaceSearch.h"

namespace {

// The header's texts stand in the first bytes of a larger sector, in front of the first zero.
constexpr std::size_t HeaderBytes = 64;
constexpr auto Version = PatternOf("MIME-Version: 1.0");
constexpr auto KindText = PatternOf("Content-Type: multipart/related");
constexpr ByteMark Kind{KindText};
constexpr auto BoundaryText = PatternOf("boundary=\"");
constexpr ByteMark Boundary{BoundaryText};
// The boundary's closing quote stands this close to its first byte.
constexpr std::size_t MaxBoundary = 64;
constexpr std::uint8_t Quote = '"';

constexpr auto ListEndText = PatternOf("</xml>");
constexpr ByteMark ListEnd{ListEndText};
// The closing boundary lies wholly in as many bytes, counted from the list's end tag, and in the tag's sector.
constexpr std::size_t ClosingReach = 46;

}  // namespace

bool KMhtFileType::IsHeader(ByteSpan sector) {
    if (sector.size() <= HeaderBytes) {
        return false;
    }
    const ByteSpan head(sector.begin(), std::find(sector.begin(), sector.begin() + HeaderBytes, std::uint8_t{0}));
    // One stride of places, most of which pass none: the sector has a byte behind the last of them.
    const auto begins = [](const std::uint8_t* place) {
        return static_cast<std::uint8_t>((place[0] ^ Version[0]) | (place[1] ^ Version[1]));
    };
    static_assert(HeaderBytes == PlaceStride);
    const auto isVersion = [&](std::size_t place) {
        return HasPatternAt(head, place, Version);
    };
    if (!FindPlace(sector.data(), 0, HeaderBytes, begins, isVersion) || !Kind.FindIn(head)) {
        return false;
    }
    const std::optional<std::size_t> boundary = Boundary.FindIn(head);
    if (boundary) {
        KeepBoundary(sector.subspan(*boundary + Boundary.size()));
    }
    return boundary.has_value();
}

// Takes the text up to the quote. Without a quote in reach, or with a zero in front of it, there is no boundary.
void KMhtFileType::KeepBoundary(ByteSpan text) {
    closingSize_ = 0;
    const ByteSpan searched = text.first(std::min(text.size(), MaxBoundary));
    const auto stop = std::ranges::find_if(searched, [](std::uint8_t byte) { return byte == Quote || byte == 0; });
    if (stop == searched.end() || *stop == 0) {
        return;
    }
    const auto length = static_cast<std::size_t>(stop - searched.begin());
    std::ranges::copy(searched.first(length), closing_.begin());
    closingSize_ = std::min(length + 2, closing_.size());
    std::fill(closing_.begin() + static_cast<std::ptrdiff_t>(length),
              closing_.begin() + static_cast<std::ptrdiff_t>(closingSize_), std::uint8_t{'-'});
}

std::optional<std::size_t> KMhtFileType::FindEnd(ByteSpan sector) const {
    const std::optional<std::size_t> listEnd = ListEnd.FindIn(sector);
    if (!listEnd || closingSize_ == 0) {
        return listEnd;
    }
    const ByteSpan behind = sector.subspan(*listEnd);
    const ByteMark closing{ByteSpan(closing_).first(closingSize_)};
    const auto found = closing.FindIn(behind.first(std::min(behind.size(), ClosingReach)));
    return found ? std::optional(*listEnd + *found + closingSize_) : std::nullopt;
}
