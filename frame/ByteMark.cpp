#include "frame/ByteMark.h"

#include <cstring>

std::optional<std::size_t> ByteMark::FindIn(ByteSpan haystack, std::size_t from) const {
    if (from > haystack.size() || haystack.size() - from < bytes_.size()) {
        return std::nullopt;
    }
    if (bytes_.empty()) {
        return from;
    }
    const std::uint8_t* const begin = haystack.data();
    const std::uint8_t* at = begin + from + anchor_;
    const std::uint8_t* const anchorEnd = begin + haystack.size() - (bytes_.size() - 1 - anchor_);
    while (at < anchorEnd) {
        const void* hit = std::memchr(at, bytes_[anchor_], static_cast<std::size_t>(anchorEnd - at));
        if (hit == nullptr) {
            return std::nullopt;
        }
        at = static_cast<const std::uint8_t*>(hit);
        if (std::memcmp(at - anchor_, bytes_.data(), bytes_.size()) == 0) {
            return static_cast<std::size_t>(at - anchor_ - begin);
        }
        ++at;
    }
    return std::nullopt;
}

std::optional<std::size_t> ByteMark::FindEndInSector(ByteSpan sector) const {
    if (sector.empty()) {
        return std::nullopt;
    }
    const std::optional<std::size_t> start = FindIn(sector.first(sector.size() - 1));
    return start ? std::optional(*start + size()) : std::nullopt;
}
