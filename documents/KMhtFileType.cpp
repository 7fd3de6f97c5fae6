#include "documents/KMhtFileType.h"

#include <algorithm>
#include <array>

#include "frame/ByteMark.h"

namespace {

// The header's texts stand in the first bytes of a larger sector, in front of the first zero.
constexpr std::size_t HeaderBytes = 64;
constexpr auto VersionText = PatternOf("MIME-Version: 1.0");
constexpr ByteMark Version{VersionText};
constexpr auto KindText = PatternOf("Content-Type: multipart/related");
constexpr ByteMark Kind{KindText};
constexpr auto BoundaryText = PatternOf("boundary=\"");
constexpr ByteMark Boundary{BoundaryText};
// The boundary's closing quote stands this close to its first byte.
constexpr std::size_t MaxBoundary = 64;
constexpr std::uint8_t Quote = '"';

// Wherever the kind stands in the header's bytes, it covers the last place that it could end at if it stood first, or
// the first place if it stood last: what stands there rules out most sectors.
constexpr std::size_t FirstKindPlace = KindText.size() - 1;
constexpr std::size_t LastKindPlace = HeaderBytes - KindText.size();
static_assert(LastKindPlace - FirstKindPlace <= KindText.size());

constexpr std::array<bool, 256> MakeKindBytes() {
    std::array<bool, 256> isKindByte{};
    for (const std::uint8_t byte : KindText) {
        isKindByte[byte] = true;
    }
    return isKindByte;
}
constexpr std::array<bool, 256> IsKindByte = MakeKindBytes();

bool MayHoldKind(ByteSpan sector) { return IsKindByte[sector[FirstKindPlace]] || IsKindByte[sector[LastKindPlace]]; }

constexpr auto ListEndText = PatternOf("</xml>");
constexpr ByteMark ListEnd{ListEndText};
// The closing boundary lies wholly in as many bytes, counted from the list's end tag, and in the tag's sector.
constexpr std::size_t ClosingReach = 46;

}  // namespace

bool KMhtFileType::IsHeader(ByteSpan sector) {
    if (sector.size() <= HeaderBytes || !MayHoldKind(sector)) {
        return false;
    }
    const ByteSpan head(sector.begin(), std::find(sector.begin(), sector.begin() + HeaderBytes, std::uint8_t{0}));
    if (!Kind.FindIn(head) || !Version.FindIn(head)) {
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
