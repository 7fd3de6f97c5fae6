#include "frame/ByteMark.h"

#include <algorithm>
#include <cstring>

namespace {

// Places examined at once: a few vector registers, and a small part of a sector.
constexpr std::size_t Stride = 64;

// 0 only if both bytes are as wanted.
std::uint8_t Difference(std::uint8_t a, std::uint8_t wantedA, std::uint8_t b, std::uint8_t wantedB) {
    return static_cast<std::uint8_t>((a ^ wantedA) | (b ^ wantedB));
}

}  // namespace

std::optional<std::size_t> ByteMark::FindIn(ByteSpan haystack, std::size_t from) const {
    if (from > haystack.size() || haystack.size() - from < bytes_.size()) {
        return std::nullopt;
    }
    if (bytes_.empty()) {
        return from;
    }
    const std::size_t end = haystack.size() - bytes_.size() + 1;
    if (end - from < Stride) {
        return FindAmong(haystack, from, end - from);
    }
    // The last stride overlaps the one before it instead of being shorter.
    const std::size_t lastStride = end - Stride;
    for (std::size_t at = from;; at = std::min(at + Stride, lastStride)) {
        if (IsAnyLikely(haystack.data() + at)) {
            if (const std::optional<std::size_t> start = FindAmong(haystack, at, Stride)) {
                return start;
            }
        }
        if (at == lastStride) {
            return std::nullopt;
        }
    }
}

std::optional<std::size_t> ByteMark::FindEndInSector(ByteSpan sector) const {
    if (sector.empty()) {
        return std::nullopt;
    }
    const std::optional<std::size_t> start = FindIn(sector.first(sector.size() - 1));
    return start ? std::optional(*start + size()) : std::nullopt;
}

bool ByteMark::IsLikely(const std::uint8_t* place) const {
    return Difference(place[anchor_], bytes_[anchor_], place[partner_], bytes_[partner_]) == 0;
}

bool ByteMark::IsAnyLikely(const std::uint8_t* first) const {
    const std::uint8_t* const anchors = first + anchor_;
    const std::uint8_t* const partners = first + partner_;
    const std::uint8_t anchor = bytes_[anchor_];
    const std::uint8_t partner = bytes_[partner_];
    // A fixed number of passes without a branch, which compilers turn into vector instructions.
    std::uint8_t smallest = 0xFF;
    for (std::size_t i = 0; i < Stride; ++i) {
        smallest = std::min(smallest, Difference(anchors[i], anchor, partners[i], partner));
    }
    return smallest == 0;
}

std::optional<std::size_t> ByteMark::FindAmong(ByteSpan haystack, std::size_t from, std::size_t count) const {
    for (std::size_t start = from; start < from + count; ++start) {
        const std::uint8_t* const place = haystack.data() + start;
        if (IsLikely(place) && std::memcmp(place, bytes_.data(), bytes_.size()) == 0) {
            return start;
        }
    }
    return std::nullopt;
}
