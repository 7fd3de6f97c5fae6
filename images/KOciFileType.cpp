#include "images/KOciFileType.h"

#include <algorithm>

#include "frame/FieldReader.h"

namespace {

constexpr auto FirstChunk = PatternOf("OPIM\x30\0\0\0");
constexpr std::size_t TagBytes = 4;
constexpr std::size_t ChunkHeaderBytes = 8;
constexpr std::size_t SecondChunk = ChunkHeaderBytes + 0x30;
constexpr std::uint32_t LongestChunk = 0x10000000;
constexpr int MinChunks = 3;
constexpr int MostChunks = 0x100000;

bool IsTag(ByteSpan bytes) {
    const auto isCapital = [](std::uint8_t byte) {
        return byte >= 'A' && byte <= 'Z';
    };
    return bytes.size() >= TagBytes && bytes[0] == 'O' && std::ranges::all_of(bytes.first(TagBytes), isCapital);
}

}  // namespace

bool KOciFileType::IsHeader(ByteSpan sector) {
    return StartsWith(sector, FirstChunk) && sector.size() >= SecondChunk + ChunkHeaderBytes &&
           IsTag(sector.subspan(SecondChunk));
}

std::optional<std::int64_t> KOciFileType::Walk(FileWindow& file) {
    std::int64_t end = 0;
    int chunks = 0;
    for (; chunks < MostChunks; ++chunks) {
        FieldReader fields(file, end);
        if (!IsTag(fields.Take(TagBytes))) {
            break;
        }
        const std::uint32_t length = fields.Little<std::uint32_t>();
        fields.Skip(length);
        if (fields.IsBroken() || length >= LongestChunk) {
            break;
        }
        end = fields.Position();
    }
    return chunks >= MinChunks ? std::optional(end) : std::nullopt;
}
