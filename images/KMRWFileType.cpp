#include "images/KMRWFileType.h"

namespace {

constexpr auto DimensionsMark = PatternOf("\0PRD");
// The metadata block's own header, which its length does not count.
constexpr std::uint32_t BlockHeadBytes = 8;

constexpr std::size_t MetadataLength = 4;
constexpr std::size_t DimensionsBlock = 8;
constexpr std::size_t SensorHeight = 24;
constexpr std::size_t SensorWidth = 26;
constexpr std::size_t BitsPerPixel = 32;

}  // namespace

bool KMRWFileType::IsHeader(ByteSpan sector) { return HasPatternAt(sector, DimensionsBlock, DimensionsMark); }

std::optional<std::int64_t> KMRWFileType::Measure(const Candidate& candidate) {
    const ByteSpan header = candidate.sector;
    const std::uint64_t pixelBits = std::uint64_t{LoadBig<std::uint16_t>(header, SensorHeight)} *
                                    LoadBig<std::uint16_t>(header, SensorWidth) * header[BitsPerPixel];
    const std::uint64_t size = LoadBig<std::uint32_t>(header, MetadataLength) + (pixelBits + 7) / 8 + BlockHeadBytes;
    // A 32-bit sum: 2 GiB and more turn negative, which is no size.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(size));
}
