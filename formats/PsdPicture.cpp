#include "formats/PictureWalks.h"

#include <algorithm>
#include <array>

#include "frame/bytes/FieldReader.h"
#include "frame/contract/FileTypeCatalog.h"

namespace {

constexpr auto Reserved = PatternOf("\0\0\0\0\0\0");
constexpr std::size_t HeaderBytes = 26;

constexpr std::uint16_t LargeVersion = 2;
constexpr std::uint16_t MostChannels = 99;
constexpr std::uint64_t LargestSection = FileTypeCatalog[FileTypeIndex::Psd].maxSize;

constexpr std::uint16_t RowsRaw = 0;
constexpr std::uint16_t RowsPacked = 1;

struct Header {
    bool isLarge;
    std::uint16_t channels;
    std::uint32_t height;
    std::uint32_t width;
    std::uint16_t depth;
    std::uint16_t mode;

    std::uint64_t RowBytes() const { return (std::uint64_t{width} * depth + 7) / 8; }
    std::uint64_t Rows() const { return std::uint64_t{height} * channels; }
};

Header ReadHeader(ByteSpan bytes) {
    return {LoadBig<std::uint16_t>(bytes, 4) == LargeVersion,
            LoadBig<std::uint16_t>(bytes, 12),
            LoadBig<std::uint32_t>(bytes, 14),
            LoadBig<std::uint32_t>(bytes, 18),
            LoadBig<std::uint16_t>(bytes, 22),
            LoadBig<std::uint16_t>(bytes, 24)};
}

bool IsSound(const Header& header) {
    const std::uint32_t longest = header.isLarge ? 300000 : 30000;
    const auto isSide = [longest](std::uint32_t side) {
        return side >= 1 && side <= longest;
    };
    const bool isDepth = header.depth == 1 || header.depth == 8 || header.depth == 16 || header.depth == 32;
    const bool isMode = header.mode <= 4 || (header.mode >= 7 && header.mode <= 9);
    return header.channels >= 1 && header.channels <= MostChannels && isSide(header.height) && isSide(header.width) &&
           isDepth && isMode;
}

// The start of the first resource: the signature of the program that defined it.
bool OpensResources(ByteWindow& file, std::int64_t offset) {
    constexpr std::array owners{PatternOf("8BIM"), PatternOf("MeSa"), PatternOf("PHUT"), PatternOf("AgHg"),
                                PatternOf("DCSR")};
    const ByteSpan bytes = file.At(offset, 4);
    return std::ranges::any_of(owners, [bytes](const auto& owner) { return StartsWith(bytes, owner); });
}

// Skips packed rows, whose lengths come first. A row longer than packing can make it breaks the reader.
template <std::unsigned_integral Length>
void SkipPackedRows(ByteWindow& file, FieldReader& fields, const Header& header) {
    // The cost of reading a length, counted in bytes read.
    constexpr std::int64_t rowWork = 8;
    constexpr std::uint64_t mostAtOnce = ByteWindow::PieceBytes / sizeof(Length);
    const std::uint64_t longest = 2 * header.RowBytes() + 256;
    std::uint64_t sum = 0;
    for (std::uint64_t left = header.Rows(); left > 0 && !fields.IsBroken();) {
        const auto rows = static_cast<std::size_t>(std::min(left, mostAtOnce));
        const ByteSpan lengths = fields.Take(rows * sizeof(Length));
        file.Charge(rowWork * static_cast<std::int64_t>(rows));
        for (std::size_t at = 0; at < lengths.size(); at += sizeof(Length)) {
            const auto length = LoadBig<Length>(lengths, at);
            if (length > longest) {
                fields.Break();
            }
            sum += length;
        }
        left -= rows;
    }
    fields.Skip(sum);
}

}  // namespace

bool PsdPicture::IsHeader(ByteSpan sector) {
    const auto version = LoadBig<std::uint16_t>(sector, 4);
    return version >= 1 && version <= LargeVersion && HasPatternAt(sector, 6, Reserved) && IsSound(ReadHeader(sector));
}

std::optional<WalkedFile> PsdPicture::Walk(ByteWindow& file, const std::function<void(const PackedRows&)>& take) {
    const ByteSpan start = file.At(0, HeaderBytes);
    if (start.empty()) {
        return std::nullopt;
    }
    const Header header = ReadHeader(start);
    FieldReader fields(file, HeaderBytes);
    const auto skipSection = [&](std::uint64_t length) {
        if (!header.isLarge && length > LargestSection) {
            fields.Break();
        }
        fields.Skip(length);
    };
    skipSection(fields.Big<std::uint32_t>());
    const auto resourceBytes = fields.Big<std::uint32_t>();
    if (resourceBytes > 0 && !OpensResources(file, fields.Position())) {
        return std::nullopt;
    }
    skipSection(resourceBytes);
    // Layers and masks.
    skipSection(header.isLarge ? fields.Big<std::uint64_t>() : fields.Big<std::uint32_t>());
    switch (fields.Big<std::uint16_t>()) {
        case RowsRaw:
            fields.Skip(header.RowBytes() * header.Rows());
            break;
        case RowsPacked: {
            const int width = header.isLarge ? sizeof(std::uint32_t) : sizeof(std::uint16_t);
            const std::int64_t lengths = fields.Position();
            const auto rows = static_cast<std::int64_t>(header.Rows());
            header.isLarge ? SkipPackedRows<std::uint32_t>(file, fields, header)
                           : SkipPackedRows<std::uint16_t>(file, fields, header);
            if (take && !fields.IsBroken() && fields.Position() <= file.Limit()) {
                take({lengths, width, lengths + rows * width, rows, static_cast<std::int64_t>(header.RowBytes())});
            }
            break;
        }
        default:
            return std::nullopt;
    }
    return fields.IsBroken() ? std::nullopt : std::optional(WalkedFile{fields.Position()});
}
