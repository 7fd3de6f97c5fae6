#include "formats/PictureWalks.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::size_t HeaderBytes = 128;

// `header` has `HeaderBytes` bytes.
struct Header {
    explicit Header(ByteSpan header)
        : version(header[1]),
          isCoded(header[2] != 0),
          bits(header[3]),
          planes(header[65]),
          width(LoadLittle<std::uint16_t>(header, 8) - LoadLittle<std::uint16_t>(header, 4) + 1),
          height(LoadLittle<std::uint16_t>(header, 10) - LoadLittle<std::uint16_t>(header, 6) + 1),
          lineBytes(LoadLittle<std::uint16_t>(header, 66)),
          reserved(header[64]),
          paletteKind(LoadLittle<std::uint16_t>(header, 68)) {}

    std::uint8_t version;
    bool isCoded;
    std::uint8_t bits;
    std::uint8_t planes;
    std::int32_t width;
    std::int32_t height;
    std::int32_t lineBytes;
    std::uint8_t reserved;
    std::uint16_t paletteKind;

    std::int64_t RawBytes() const { return std::int64_t{height} * planes * lineBytes; }
};

bool IsSound(const Header& header) {
    constexpr std::array<std::pair<std::uint8_t, std::uint8_t>, 10> depths{
        {{1, 1}, {1, 2}, {1, 3}, {1, 4}, {2, 1}, {4, 1}, {4, 4}, {8, 1}, {8, 3}, {8, 4}}};
    constexpr std::int32_t mostPixels = 32767;
    constexpr std::int32_t mostLineSlack = 64;
    const std::int32_t lineSlack = header.lineBytes - (header.width * header.bits + 7) / 8;
    const bool isVersion = header.version <= 5 && header.version != 1;
    // Older versions leave rubbish in fields that came later.
    const bool areLaterFieldsSound = header.version < 5 || (header.reserved == 0 && header.paletteKind <= 2);
    return isVersion && areLaterFieldsSound && header.width >= 1 && header.width <= mostPixels && header.height >= 1 &&
           header.height <= mostPixels && lineSlack >= 0 && lineSlack <= mostLineSlack &&
           std::ranges::find(depths, std::pair(header.bits, header.planes)) != depths.end();
}

// Decodes run-length code, piece by piece, up to a given number of decoded bytes.
class RunDecoder {
public:
    explicit RunDecoder(std::int64_t rawBytes) : missing_(rawBytes) {}

    bool IsComplete() const { return missing_ <= 0; }

    // The number of bytes used; nothing if this cannot be a picture. A run's second byte may be in the next piece.
    std::optional<std::size_t> Decode(ByteSpan piece) {
        std::size_t next = 0;
        while (!IsComplete() && next < piece.size()) {
            const std::uint8_t code = piece[next];
            if ((code & RunMark) != RunMark) {
                --missing_;
                emptyRuns_ = 0;
                ++next;
                continue;
            }
            if (next + 1 == piece.size()) {
                break;
            }
            const int length = code & ~RunMark;
            missing_ -= length;
            emptyRuns_ = length == 0 ? emptyRuns_ + 1 : 0;
            if (emptyRuns_ > MostEmptyRuns) {
                return std::nullopt;
            }
            next += 2;
        }
        return next;
    }

private:
    static constexpr std::uint8_t RunMark = 0xC0;
    static constexpr int MostEmptyRuns = 1000;

    std::int64_t missing_;
    int emptyRuns_ = 0;
};

// Where the picture data end.
std::optional<std::int64_t> PictureEnd(ByteWindow& file, std::int64_t rawBytes) {
    // Without empty runs, the code at most doubles the picture.
    const std::int64_t farthest = static_cast<std::int64_t>(HeaderBytes) + 2 * rawBytes + 128;
    // The cost of decoding a byte, counted in bytes read.
    constexpr std::int64_t decodingWork = 6;
    RunDecoder decoder(rawBytes);
    std::int64_t position = HeaderBytes;
    while (!decoder.IsComplete()) {
        const std::optional<std::size_t> used = decoder.Decode(file.From(position, 2));
        if (used.value_or(0) == 0) {
            return std::nullopt;
        }
        file.Charge(decodingWork * static_cast<std::int64_t>(*used));
        position += static_cast<std::int64_t>(*used);
        if (position > farthest) {
            return std::nullopt;
        }
    }
    return position;
}

// Uncompressed pictures have nothing to decode, so their header must be that of the newest version.
bool IsPlainSound(ByteSpan header) {
    constexpr std::size_t fillerStart = 74;
    const ByteSpan filler = header.subspan(fillerStart, HeaderBytes - fillerStart);
    return header[1] == 5 && std::ranges::count(filler, 0) == std::ssize(filler);
}

// Bytes from the end of the picture to the end of the palette; 0 if no palette follows. Some programs leave a gap.
std::int64_t PaletteBytes(ByteSpan behind, bool mayHaveGap) {
    constexpr std::uint8_t mark = 0x0C;
    constexpr std::int64_t markAndColours = 769;
    constexpr std::size_t mostGap = 16;
    behind = behind.first(std::min(behind.size(), mayHaveGap ? mostGap + 1 : std::size_t{1}));
    const auto found = std::ranges::find(behind, mark);
    return found == behind.end() ? 0 : found - behind.begin() + markAndColours;
}

}  // namespace

bool PcxPicture::IsHeader(ByteSpan sector) {
    if (sector.size() < HeaderBytes) {
        return false;
    }
    const Header header(sector);
    return IsSound(header) && (header.isCoded || IsPlainSound(sector));
}

std::optional<WalkedFile> PcxPicture::Walk(ByteWindow& file) {
    const ByteSpan bytes = file.At(0, HeaderBytes);
    if (bytes.empty()) {
        return std::nullopt;
    }
    const Header header(bytes);
    const bool isPalettePicture = header.bits == 8 && header.planes == 1;
    if (!header.isCoded) {
        const std::int64_t end = static_cast<std::int64_t>(HeaderBytes) + header.RawBytes();
        const std::int64_t palette = PaletteBytes(file.From(end), /*mayHaveGap=*/false);
        const bool isWhole = end <= file.Limit() && (palette != 0 || !isPalettePicture);
        return isWhole ? std::optional(WalkedFile{end + palette}) : std::nullopt;
    }
    const std::optional<std::int64_t> end = PictureEnd(file, header.RawBytes());
    if (!end) {
        return std::nullopt;
    }
    const std::int64_t palette = header.version < 5 ? 0 : PaletteBytes(file.From(*end, 17), isPalettePicture);
    return WalkedFile{*end + palette};
}
