#include "formats/CanonHeap.h"

#include <algorithm>
#include <span>

namespace {

constexpr std::uint16_t RawTag = 0x2005;
constexpr std::uint16_t JpegTag = 0x2007;
constexpr std::uint16_t ThumbnailTag = 0x2008;
constexpr std::uint16_t PropertiesTag = 0x300A;

struct Extent {
    std::uint64_t start;
    std::uint64_t end;
};

}  // namespace

std::optional<CanonHeap::Contents> CanonHeap::ContentsOf(ByteSpan entries, std::uint64_t heapBytes) {
    std::array<Extent, MostEntries> extents{};
    std::size_t count = 0;
    Contents contents;
    for (std::size_t at = 0; at < entries.size(); at += EntryBytes) {
        const Entry entry = EntryAt(entries, at);
        contents.hasPicture = contents.hasPicture || entry.tag == RawTag || entry.tag == JpegTag;
        contents.hasThumbnail = contents.hasThumbnail || entry.tag == ThumbnailTag;
        contents.hasProperties = contents.hasProperties || entry.tag == PropertiesTag;
        if (entry.IsInHeap() && entry.size != 0) {
            extents[count++] = {entry.offset, std::uint64_t{entry.offset} + entry.size};
        }
    }
    const auto inUse = std::span(extents).first(count);
    std::ranges::sort(inUse, {}, &Extent::start);
    std::uint64_t free = 0;
    for (const Extent& extent : inUse) {
        if (extent.start < free || extent.end > heapBytes) {
            return std::nullopt;
        }
        free = extent.end;
    }
    return contents;
}
