#include "documents/KMhtFileType.h"

#include <algorithm>

#include "frame/bytes/BytePattern.h"

namespace {

// The header's texts are in these first bytes of a larger sector, before the first zero.
constexpr std::size_t HeaderBytes = 64;
constexpr BytePattern Version = BytePatternOf<"MIME-Version: 1.0">();
constexpr auto KindText = PatternOf("Content-Type: multipart/related");
constexpr BytePattern Kind{KindText};
constexpr BytePattern Boundary = BytePatternOf<"boundary=\"">();
// How far the boundary's closing quote is looked for.
constexpr std::size_t MaxBoundary = 64;
constexpr std::uint8_t Quote = '"';

// The kind may be anywhere in the header. A table for each of these offsets maps the byte there to the places, one bit
// each, where the kind can still begin. The places left by all tables are candidates.
constexpr std::array<std::size_t, 4> TestedOffsets{16, 30, 33, 47};
using PlacesByByte = std::array<std::uint64_t, 256>;

constexpr std::array<PlacesByByte, TestedOffsets.size()> MakeKindPlaces() {
    std::array<PlacesByByte, TestedOffsets.size()> places{};
    for (std::size_t tested = 0; tested < TestedOffsets.size(); ++tested) {
        for (std::size_t place = 0; place <= HeaderBytes - KindText.size(); ++place) {
            const std::size_t inKind = TestedOffsets[tested] - place;
            const bool isCovered = TestedOffsets[tested] >= place && inKind < KindText.size();
            for (std::size_t byte = 0; byte < places[tested].size(); ++byte) {
                const bool fits = !isCovered || KindText[inKind] == byte;
                places[tested][byte] |= fits ? std::uint64_t{1} << place : 0;
            }
        }
    }
    return places;
}

constexpr BytePattern ListEnd = BytePatternOf<"</xml>">();
// The closing boundary must lie within this many bytes from the list's end tag, and in the tag's sector.
constexpr std::size_t ClosingReach = 46;

}  // namespace

static_assert(KMhtFileType::KindFilter::Reach() == HeaderBytes);

bool KMhtFileType::KindFilter::Matches(const std::uint8_t* sector) {
    static constexpr std::array<PlacesByByte, TestedOffsets.size()> kindPlaces = MakeKindPlaces();
    std::uint64_t places = ~std::uint64_t{0};
    for (std::size_t tested = 0; tested < TestedOffsets.size(); ++tested) {
        places &= kindPlaces[tested][sector[TestedOffsets[tested]]];
    }
    return places != 0;
}

bool KMhtFileType::IsHeader(ByteSpan sector) {
    if (sector.size() <= HeaderBytes) {
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

// Keeps the text up to the quote. Without a quote in reach, or with a zero before it, there is no boundary.
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
    const ByteSpan rest = sector.subspan(*listEnd);
    const BytePattern closing{ByteSpan(closing_).first(closingSize_)};
    const auto found = closing.FindIn(rest.first(std::min(rest.size(), ClosingReach)));
    return found ? std::optional(*listEnd + *found + closingSize_) : std::nullopt;
}
