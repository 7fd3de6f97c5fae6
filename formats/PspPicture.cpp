#include "formats/PictureWalks.h"

#include "frame/bytes/FieldReader.h"

namespace {

constexpr auto BlockMark = PatternOf("~BK\0");
constexpr std::size_t MajorVersionOffset = 32;
constexpr std::int64_t HeaderBytes = 36;

constexpr std::uint16_t AttributesBlock = 0;
constexpr std::uint16_t LayersBlock = 3;
constexpr std::uint16_t LayerBlock = 4;
constexpr std::uint16_t LastBlock = 64;
constexpr int MostBlocks = 0x10000;

struct BlockHeader {
    std::uint16_t id;
    std::uint32_t length;
};

// Empty if no block begins here. A truncated block breaks the reader.
std::optional<BlockHeader> ReadBlockHeader(FieldReader& fields, bool isVersion3) {
    if (!StartsWith(fields.Take(BlockMark.size()), BlockMark)) {
        return std::nullopt;
    }
    const auto id = fields.Little<std::uint16_t>();
    if (isVersion3) {
        // The length of the block's first chunk, which is part of the block.
        fields.Skip(sizeof(std::uint32_t));
    }
    return BlockHeader{id, fields.Little<std::uint32_t>()};
}

bool IsAttributes(const BlockHeader& block) {
    return block.id == AttributesBlock && block.length >= 38 && block.length <= 1024;
}

}  // namespace

bool PspPicture::IsHeader(ByteSpan sector) {
    return LoadLittle<std::uint16_t>(sector, MajorVersionOffset) >= 3 && HasPatternAt(sector, HeaderBytes, BlockMark);
}

std::optional<WalkedFile> PspPicture::Walk(ByteWindow& file) {
    FieldReader version(file, MajorVersionOffset);
    const bool isVersion3 = version.Little<std::uint16_t>() == 3;
    std::int64_t end = HeaderBytes;
    bool hasLayers = false;
    for (int blocks = 0; blocks < MostBlocks; ++blocks) {
        FieldReader fields(file, end);
        const std::optional<BlockHeader> block = ReadBlockHeader(fields, isVersion3);
        if (!block) {
            return blocks >= 2 ? std::optional(WalkedFile{end, hasLayers}) : std::nullopt;
        }
        fields.Skip(block->length);
        if (blocks == 0 && !IsAttributes(*block)) {
            return std::nullopt;
        }
        if (fields.IsBroken() || block->id > LastBlock) {
            break;
        }
        hasLayers = hasLayers || block->id == LayersBlock || block->id == LayerBlock;
        end = fields.Position();
    }
    return hasLayers ? std::optional(WalkedFile{end, false}) : std::nullopt;
}
