#include "formats/PictureWalks.h"

#include <algorithm>
#include <array>

#include "frame/contract/FileTypeCatalog.h"

namespace {

// The file header of 14 bytes and the longest information header.
constexpr std::size_t LongestHeader = 138;
constexpr std::int64_t FileHeaderBytes = 14;

// A larger picture is believed only if two fields agree on its size.
constexpr std::int64_t LargestUnconfirmed = FileTypeCatalog[FileTypeIndex::Bmp].maxSize;

// Lengths of information headers.
enum HeaderVersion : std::uint32_t { Os2First = 12, Os2Short = 16, Windows3 = 40, Os2Second = 64, Windows5 = 124 };
constexpr std::array<std::uint32_t, 8> HeaderLengths{Os2First, Os2Short, Windows3, 52, 56, Os2Second, 108, Windows5};

enum Compression : std::uint32_t { Plain = 0, Rle8 = 1, Rle4 = 2, Masks = 3, Jpeg = 4, Png = 5, AlphaMasks = 6 };
// Compression numbers that mean something else in an OS/2 header.
enum Os2Compression : std::uint32_t { Huffman = 3, Rle24 = 4 };

struct Bitmap {
    std::uint32_t declaredSize = 0;
    std::uint32_t pixelOffset = 0;
    std::uint32_t headerLength = 0;
    std::int64_t width = 0;
    // In rows. The file gives a negative number for top-down pictures.
    std::int64_t height = 0;
    std::uint32_t planes = 0;
    std::uint32_t bits = 0;
    std::uint32_t compression = Plain;
    std::uint32_t imageSize = 0;
    std::uint32_t coloursUsed = 0;
    // Where the colour profile ends; 0 if there is none.
    std::int64_t profileEnd = 0;

    bool IsSmallPalette() const { return bits >= 1 && bits <= 8; }
    std::int64_t RawBytes() const { return (width * bits + 31) / 32 * 4 * height; }
};

std::int64_t ProfileEnd(ByteSpan sector) {
    constexpr std::uint32_t embedded = 0x4D424544;  // MBED
    constexpr std::uint32_t linked = 0x4C494E4B;    // LINK
    const auto colourSpace = LoadLittle<std::uint32_t>(sector, 70);
    if (colourSpace != embedded && colourSpace != linked) {
        return 0;
    }
    return FileHeaderBytes + std::int64_t{LoadLittle<std::uint32_t>(sector, 126)} +
           LoadLittle<std::uint32_t>(sector, 130);
}

Bitmap LoadBitmap(ByteSpan sector) {
    Bitmap bitmap;
    bitmap.declaredSize = LoadLittle<std::uint32_t>(sector, 2);
    bitmap.pixelOffset = LoadLittle<std::uint32_t>(sector, 10);
    bitmap.headerLength = LoadLittle<std::uint32_t>(sector, 14);
    if (bitmap.headerLength == Os2First) {
        bitmap.width = LoadLittle<std::uint16_t>(sector, 18);
        bitmap.height = LoadLittle<std::uint16_t>(sector, 20);
        bitmap.planes = LoadLittle<std::uint16_t>(sector, 22);
        bitmap.bits = LoadLittle<std::uint16_t>(sector, 24);
        return bitmap;
    }
    const std::int64_t height = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(sector, 22));
    bitmap.width = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(sector, 18));
    bitmap.height = height < 0 ? -height : height;
    bitmap.planes = LoadLittle<std::uint16_t>(sector, 26);
    bitmap.bits = LoadLittle<std::uint16_t>(sector, 28);
    if (bitmap.headerLength >= Windows3) {
        bitmap.compression = LoadLittle<std::uint32_t>(sector, 30);
        bitmap.imageSize = LoadLittle<std::uint32_t>(sector, 34);
        bitmap.coloursUsed = LoadLittle<std::uint32_t>(sector, 46);
    }
    if (bitmap.headerLength == Windows5) {
        bitmap.profileEnd = ProfileEnd(sector);
    }
    return bitmap;
}

bool IsDepthOfCompression(const Bitmap& bitmap) {
    constexpr std::array<std::uint32_t, 7> depths{1, 2, 4, 8, 16, 24, 32};
    const std::uint32_t bits = bitmap.bits;
    if (bitmap.headerLength == Os2Second && (bitmap.compression == Huffman || bitmap.compression == Rle24)) {
        return bits == (bitmap.compression == Huffman ? 1 : 24);
    }
    switch (bitmap.compression) {
        case Plain:
            return std::ranges::find(depths, bits) != depths.end();
        case Rle8:
            return bits == 8;
        case Rle4:
            return bits == 4;
        case Masks:
        case AlphaMasks:
            return bits == 16 || bits == 32;
        case Jpeg:
        case Png:
            return bits == 0;
        default:
            return false;
    }
}

// Between headers and pixels: masks, a palette, and up to 1024 bytes of slack that some programs leave.
bool IsPixelOffsetSound(const Bitmap& bitmap) {
    constexpr std::int64_t mostSlack = 1024;
    // Masks are optional: some programs leave them out after the Windows 3 header. They fit into the slack.
    std::int64_t least = FileHeaderBytes + bitmap.headerLength;
    std::int64_t most = least + mostSlack;
    if (bitmap.IsSmallPalette()) {
        const std::int64_t colourBytes = bitmap.headerLength == Os2First ? 3 : 4;
        const std::uint32_t allColours = 1U << bitmap.bits;
        least += colourBytes * std::min(bitmap.coloursUsed, allColours);
        most += colourBytes * allColours;
    } else {
        // The palette of a true-colour picture is only a hint for screens with few colours.
        constexpr std::uint32_t mostHints = 256;
        most += std::int64_t{4} * std::min(bitmap.coloursUsed, mostHints);
    }
    return bitmap.pixelOffset >= least && bitmap.pixelOffset <= most;
}

bool IsGeometrySound(const Bitmap& bitmap) {
    constexpr std::int64_t mostPixels = 65535;
    return bitmap.planes == 1 && bitmap.width > 0 && bitmap.width <= mostPixels && bitmap.height > 0 &&
           bitmap.height <= mostPixels && IsDepthOfCompression(bitmap) &&
           (!bitmap.IsSmallPalette() || bitmap.coloursUsed <= 256) && IsPixelOffsetSound(bitmap);
}

bool HasRawSize(const Bitmap& bitmap) {
    return bitmap.compression == Plain ||
           (bitmap.headerLength != Os2Second && (bitmap.compression == Masks || bitmap.compression == AlphaMasks));
}

// The file length that the picture needs; nothing if a compressed picture claims an impossible length.
std::optional<std::int64_t> NeededSize(const Bitmap& bitmap) {
    std::int64_t pixelBytes = bitmap.RawBytes();
    if (!HasRawSize(bitmap)) {
        pixelBytes = bitmap.imageSize != 0 ? std::int64_t{bitmap.imageSize}
                                           : std::int64_t{bitmap.declaredSize} - bitmap.pixelOffset;
        // Run length coding takes at most 2 bytes a pixel (4 with 24 bits) and 2 a row. An embedded JPEG or PNG has no
        // such bound.
        const std::int64_t longest =
            bitmap.bits == 0 ? LargestUnconfirmed : (bitmap.width * 4 + 2) * bitmap.height + 4096;
        if (pixelBytes <= 0 || pixelBytes > longest) {
            return std::nullopt;
        }
    }
    return std::max(bitmap.pixelOffset + pixelBytes, bitmap.profileEnd);
}

}  // namespace

bool BmpPicture::IsHeader(ByteSpan sector) {
    return sector.size() >= LongestHeader &&
           std::ranges::find(HeaderLengths, LoadLittle<std::uint32_t>(sector, 14)) != HeaderLengths.end();
}

std::int64_t BmpPicture::ConfirmedEnd(ByteSpan head) {
    const Bitmap bitmap = LoadBitmap(head);
    const bool isConfirmed = bitmap.headerLength == Windows3 && bitmap.compression == Plain && bitmap.imageSize != 0 &&
                             bitmap.imageSize == bitmap.RawBytes();
    return isConfirmed ? bitmap.pixelOffset + bitmap.RawBytes() : 0;
}

std::optional<WalkedFile> BmpPicture::Measure(ByteSpan head) {
    const Bitmap bitmap = LoadBitmap(head);
    if (!IsGeometrySound(bitmap)) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> needed = NeededSize(bitmap);
    if (!needed) {
        return std::nullopt;
    }
    // Photoshop appends two bytes; other programs pad to a word or a sector.
    constexpr std::int64_t mostPadding = 4096;
    const std::int64_t padding = bitmap.declaredSize - *needed;
    const bool isConfirmed = padding >= 0 && padding <= mostPadding;
    // The reserved words are zero. Some programs leave rubbish there, but they get the size right.
    if (LoadLittle<std::uint32_t>(head, 6) != 0 && padding != 0) {
        return std::nullopt;
    }
    if (*needed > LargestUnconfirmed && !isConfirmed) {
        return std::nullopt;
    }
    // Writers that get the file's size wrong, or leave it out, may know that of the pixels.
    const bool isPixelSizeRight = HasRawSize(bitmap) && bitmap.imageSize == bitmap.RawBytes();
    return WalkedFile{isConfirmed ? std::int64_t{bitmap.declaredSize} : *needed, isConfirmed || isPixelSizeRight};
}

std::optional<WalkedFile> BmpPicture::Walk(ByteWindow& file) {
    const ByteSpan head = file.At(0, LongestHeader);
    return head.empty() ? std::nullopt : Measure(head);
}
