#include "media/EbmlFileType.h"

namespace {

// The Segment's identifier and the first byte of a size of 8 bytes, whose other bytes are the number.
constexpr BytePattern Segment = BytePatternOf<"\x18\x53\x80\x67\x01">();
constexpr std::size_t SegmentSize = 4;
constexpr std::size_t SegmentHeaderBytes = 12;
constexpr std::uint64_t SizeBits = (std::uint64_t{1} << 56U) - 1;

}  // namespace

std::optional<std::int64_t> ebml::FileSize(ByteSpan sector, const BytePattern& docType) {
    // The last place examined leaves one byte free behind the Segment's header.
    const std::size_t places = sector.size() - SegmentHeaderBytes;
    const auto segment = Segment.FindIn(sector.first(places - 1 + Segment.size()));
    if (!segment || !docType.FindIn(sector.first(*segment))) {
        return std::nullopt;
    }
    const std::uint64_t size = LoadBig<std::uint64_t>(sector, *segment + SegmentSize) & SizeBits;
    return static_cast<std::int64_t>(*segment + SegmentHeaderBytes + size);
}
