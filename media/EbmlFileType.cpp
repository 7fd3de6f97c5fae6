#include "media/EbmlFileType.h"

namespace {

// The Segment's identifier and the first byte of an 8-byte size; the other seven bytes are the number.
constexpr BytePattern Segment = BytePatternOf<"\x18\x53\x80\x67\x01">();
constexpr std::size_t SegmentSize = 4;
constexpr std::size_t SegmentHeaderBytes = 12;
constexpr std::uint64_t SizeBits = (std::uint64_t{1} << 56U) - 1;

}  // namespace

std::optional<std::int64_t> ebml::FileSize(ByteSpan sector, const BytePattern& docType) {
    // One byte must follow the Segment's header in the sector.
    const std::size_t places = sector.size() - SegmentHeaderBytes;
    const auto segment = Segment.FindIn(sector.first(places - 1 + Segment.size()));
    if (!segment || !docType.FindIn(sector.first(*segment))) {
        return std::nullopt;
    }
    const std::uint64_t size = LoadBig<std::uint64_t>(sector, *segment + SegmentSize) & SizeBits;
    return static_cast<std::int64_t>(*segment + SegmentHeaderBytes + size);
}
