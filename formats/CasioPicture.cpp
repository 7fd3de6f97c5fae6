#include "formats/PictureWalks.h"
#include "frame/bytes/FieldReader.h"

namespace {

constexpr auto JpegStart = PatternOf("\xFF\xD8\xFF");
constexpr std::size_t CountOffset = 4;
constexpr std::int64_t FirstDescriptor = 6;
constexpr std::uint16_t MostAreas = 16;
constexpr std::uint64_t UnusedBytes = 10;

constexpr std::uint16_t StrippedJpeg = 3;
constexpr std::uint16_t EarlyJpeg = 4;
constexpr std::uint16_t Jpeg = 12;
constexpr std::uint16_t LastId = 32;
constexpr std::uint32_t LongestArea = 0x1000000;

// The tables before the three scans of a stripped JPEG.
constexpr std::uint32_t StrippedTableBytes = 136;

struct Area {
    std::uint16_t id;
    std::uint32_t length;

    bool IsPicture() const { return id == StrippedJpeg || id == EarlyJpeg || id == Jpeg; }
};

bool IsSound(ByteWindow& file, const Area& area, std::int64_t offset) {
    if (area.id == EarlyJpeg || area.id == Jpeg) {
        return StartsWith(file.At(offset, JpegStart.size()), JpegStart);
    }
    if (area.id != StrippedJpeg) {
        return true;
    }
    FieldReader fields(file, offset);
    const auto scans = fields.Big<std::uint16_t>();
    std::uint32_t sum = StrippedTableBytes;
    for (int scan = 0; scan < 3; ++scan) {
        sum += fields.Big<std::uint16_t>();
    }
    return scans == 3 && !fields.IsBroken() && sum <= area.length;
}

}  // namespace

bool CasioPicture::IsHeader(ByteSpan sector) {
    const auto areas = LoadBig<std::uint16_t>(sector, CountOffset);
    return areas >= 1 && areas <= MostAreas;
}

std::optional<WalkedFile> CasioPicture::Walk(ByteWindow& file) {
    FieldReader fields(file, CountOffset);
    const auto areas = fields.Big<std::uint16_t>();
    std::int64_t end = FirstDescriptor + std::int64_t{16} * areas;
    std::uint64_t ids = 0;
    bool hasPicture = false;
    for (int i = 0; i < areas; ++i) {
        const Area area{fields.Big<std::uint16_t>(), fields.Big<std::uint32_t>()};
        fields.Skip(UnusedBytes);
        const bool isId = area.id >= 1 && area.id <= LastId && (ids >> area.id & 1U) == 0;
        if (fields.IsBroken() || !isId || area.length >= LongestArea || !IsSound(file, area, end)) {
            return std::nullopt;
        }
        ids |= std::uint64_t{1} << area.id;
        hasPicture = hasPicture || (area.IsPicture() && area.length >= 256);
        end += area.length;
    }
    return hasPicture && end <= file.Limit() ? std::optional(WalkedFile{end}) : std::nullopt;
}
