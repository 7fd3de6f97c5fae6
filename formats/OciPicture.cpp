#include "formats/PictureWalks.h"

#include <algorithm>

#include "frame/bytes/FieldReader.h"

namespace {

constexpr std::size_t TagBytes = 4;
constexpr std::size_t ChunkHeaderBytes = 8;
constexpr std::size_t SecondChunk = ChunkHeaderBytes + 0x30;
constexpr std::uint32_t LongestChunk = 0x10000000;
constexpr int MinChunks = 3;
constexpr int MostChunks = 0x4000;

bool IsTag(ByteSpan bytes) {
    const auto isCapital = [](std::uint8_t byte) {
        return byte >= 'A' && byte <= 'Z';
    };
    return bytes.size() >= TagBytes && bytes[0] == 'O' && std::ranges::all_of(bytes.first(TagBytes), isCapital);
}

}  // namespace

bool OciPicture::IsHeader(ByteSpan sector) {
    return sector.size() >= SecondChunk + ChunkHeaderBytes && IsTag(sector.subspan(SecondChunk));
}

std::optional<WalkedFile> OciPicture::Walk(ByteWindow& file) {
    std::int64_t end = 0;
    int chunks = 0;
    for (; chunks < MostChunks; ++chunks) {
        // The next picture may follow directly.
        if (chunks > 0 && StartsWith(file.At(end, OciPicture::Signature.size()), OciPicture::Signature)) {
            break;
        }
        FieldReader fields(file, end);
        if (!IsTag(fields.Take(TagBytes))) {
            break;
        }
        const auto length = fields.Little<std::uint32_t>();
        fields.Skip(length);
        if (fields.IsBroken() || length >= LongestChunk) {
            break;
        }
        end = fields.Position();
    }
    return chunks >= MinChunks ? std::optional(WalkedFile{end}) : std::nullopt;
}
