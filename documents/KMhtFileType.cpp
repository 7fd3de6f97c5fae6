#include "documents/KMhtFileType.h"

#include <algorithm>
#include <array>

#include "frame/bytes/BytePattern.h"

namespace {

// The header's texts stand in the first bytes of a larger sector, in front of the first zero.
constexpr std::size_t HeaderBytes = 64;
constexpr BytePattern Version = BytePatternOf<"MIME-Version: 1.0">();
constexpr auto KindText = PatternOf("Content-Type: multipart/related");
constexpr BytePattern Kind{KindText};
constexpr BytePattern Boundary = BytePatternOf<"boundary=\"">();
// The boundary's closing quote stands this close to its first byte.
constexpr std::size_t MaxBoundary = 64;
constexpr std::uint8_t Quote = '"';

// The kind may stand at any place of the header's bytes. For every place of it, a bit for each of these offsets: may
// this byte stand there? What is left by all of them is where the kind may be.
constexpr std::array<std::size_t, 4> AskedOffsets{16, 30, 33, 47};
using PlacesByByte = std::array<std::uint64_t, 256>;

constexpr std::array<PlacesByByte, AskedOffsets.size()> MakeKindPlaces() {
    std::array<PlacesByByte, AskedOffsets.size()> places{};
    for (std::size_t asked = 0; asked < AskedOffsets.size(); ++asked) {
        for (std::size_t place = 0; place <= HeaderBytes - KindText.size(); ++place) {
            const std::size_t inKind = AskedOffsets[asked] - place;
            const bool isCovered = AskedOffsets[asked] >= place && inKind < KindText.size();
            for (std::size_t byte = 0; byte < places[asked].size(); ++byte) {
                const bool fits = !isCovered || KindText[inKind] == byte;
                places[asked][byte] |= fits ? std::uint64_t{1} << place : 0;
            }
        }
    }
    return places;
}

constexpr BytePattern ListEnd = BytePatternOf<"</xml>">();
// The closing boundary lies wholly in as many bytes, counted from the list's end tag, and in the tag's sector.
constexpr std::size_t ClosingReach = 46;

}  // namespace

static_assert(KMhtFileType::KindFilter::Reach() == HeaderBytes);

bool KMhtFileType::KindFilter::Matches(const std::uint8_t* sector) {
    static constexpr std::array<PlacesByByte, AskedOffsets.size()> kindPlaces = MakeKindPlaces();
    std::uint64_t places = ~std::uint64_t{0};
    for (std::size_t asked = 0; asked < AskedOffsets.size(); ++asked) {
        places &= kindPlaces[asked][sector[AskedOffsets[asked]]];
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
    const BytePattern closing{ByteSpan(closing_).first(closingSize_)};
    const auto found = closing.FindIn(behind.first(std::min(behind.size(), ClosingReach)));
    return found ? std::optional(*listEnd + *found + closingSize_) : std::nullopt;
}
