#include "frame/bytes/BytePattern.h"

#include <cstring>

#include "frame/bytes/PlaceSearch.h"

std::optional<std::size_t> BytePattern::FindIn(ByteSpan haystack, std::size_t from) const {
    if (from > haystack.size() || haystack.size() - from < bytes_.size()) {
        return std::nullopt;
    }
    if (bytes_.empty()) {
        return from;
    }
    const std::size_t anchorAt = anchor_;
    const std::size_t partnerAt = partner_;
    const std::uint8_t anchor = bytes_[anchorAt];
    const std::uint8_t partner = bytes_[partnerAt];
    return FindPlace(
        haystack.data(), from, haystack.size() - bytes_.size() + 1,
        [=](const std::uint8_t* place) {
            return static_cast<std::uint8_t>((place[anchorAt] ^ anchor) | (place[partnerAt] ^ partner));
        },
        [&](std::size_t start) { return std::memcmp(haystack.data() + start, bytes_.data(), bytes_.size()) == 0; });
}

std::optional<std::size_t> BytePattern::FindEndInSector(ByteSpan sector) const {
    if (sector.empty()) {
        return std::nullopt;
    }
    const std::optional<std::size_t> start = FindIn(sector.first(sector.size() - 1));
    return start ? std::optional(*start + size()) : std::nullopt;
}
