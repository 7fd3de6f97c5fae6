#include "documents/KHLPFileType.h"

#include "frame/bytes/Bytes.h"

namespace {

constexpr std::size_t HeaderBytes = 16;
constexpr std::uint32_t NoFreeBlock = 0xFFFFFFFF;
constexpr std::int64_t SmallestFile = 64;

// An internal file begins with its reserved bytes (this header included), its used bytes, and a flag byte.
constexpr std::size_t BlockHeadBytes = 9;
constexpr auto TreeMagic = PatternOf(";)");
constexpr std::size_t TreeHeadBytes = 38;
constexpr std::uint16_t TreeFlag = 2;
constexpr std::int16_t MostLevels = 8;

std::int16_t LoadSigned16(ByteSpan bytes, std::size_t offset) {
    return static_cast<std::int16_t>(LoadLittle<std::uint16_t>(bytes, offset));
}

// True if the directory with these block and tree headers fits into `room` bytes.
bool IsDirectory(ByteSpan heads, std::int64_t room) {
    const std::int64_t reserved = LoadLittle<std::uint32_t>(heads, 0);
    const std::int64_t used = LoadLittle<std::uint32_t>(heads, 4);
    const ByteSpan tree = heads.subspan(BlockHeadBytes);
    const std::int16_t pages = LoadSigned16(tree, 30);
    const std::int16_t levels = LoadSigned16(tree, 32);
    const std::int64_t treeBytes = std::int64_t{pages} * LoadLittle<std::uint16_t>(tree, 4);
    return used + std::int64_t{BlockHeadBytes} <= reserved && reserved <= room && StartsWith(tree, TreeMagic) &&
           (LoadLittle<std::uint16_t>(tree, 2) & TreeFlag) != 0 && LoadSigned16(tree, 22) == 0 &&
           LoadSigned16(tree, 28) == -1 && levels >= 1 && levels <= MostLevels && pages >= 1 &&
           treeBytes + std::int64_t{TreeHeadBytes} <= used;
}

}  // namespace

std::optional<std::int64_t> KHLPFileType::Walk(FileWindow& file) {
    const ByteSpan header = file.At(0, HeaderBytes);
    if (header.empty()) {
        return std::nullopt;
    }
    constexpr std::int64_t headBytes = BlockHeadBytes + TreeHeadBytes;
    const std::int64_t directory = LoadLittle<std::uint32_t>(header, 4);
    const auto freeBlock = LoadLittle<std::uint32_t>(header, 8);
    const std::int64_t size = LoadLittle<std::uint32_t>(header, 12);
    const bool hasPlaces = size >= SmallestFile && directory >= std::int64_t{HeaderBytes} &&
                           directory < size - headBytes &&
                           (freeBlock == NoFreeBlock || (freeBlock >= HeaderBytes && freeBlock < size));
    if (!hasPlaces) {
        return std::nullopt;
    }
    const ByteSpan heads = file.At(directory, headBytes);
    return !heads.empty() && IsDirectory(heads, size - directory) ? std::optional(size) : std::nullopt;
}
