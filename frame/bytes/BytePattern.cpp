#include "frame/bytes/BytePattern.h"

std::optional<std::size_t> BytePattern::FindIn(ByteSpan haystack, std::size_t from) const {
    if (bytes_.empty()) {
        return from <= haystack.size() ? std::optional(from) : std::nullopt;
    }
    return FindThat(haystack, from, [](std::size_t /*offset*/) { return true; });
}

std::optional<std::size_t> BytePattern::FindEndInSector(ByteSpan sector) const {
    if (sector.empty()) {
        return std::nullopt;
    }
    const std::optional<std::size_t> start = FindIn(sector.first(sector.size() - 1));
    return start ? std::optional(*start + size()) : std::nullopt;
}
