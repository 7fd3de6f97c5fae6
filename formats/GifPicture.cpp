#include "formats/PictureWalks.h"

namespace {

constexpr auto Version87 = PatternOf("GIF87a");
constexpr auto Version89 = PatternOf("GIF89a");

// Signature, width, height, flags, background, aspect; then the first block's kind.
constexpr std::int64_t ScreenBytes = 13;

enum BlockKind : std::uint8_t { Padding = 0x00, Extension = 0x21, Descriptor = 0x2C, Trailer = 0x3B };

// Size in bytes of the colour table announced by a flags byte: 2 to 256 colours of 3 bytes.
std::int64_t ColourTableBytes(std::uint8_t flags) {
    return (flags & 0x80U) == 0 ? 0 : std::int64_t{3} << ((flags & 7U) + 1U);
}

/// A position that moves over a file's blocks.
class BlockWalk {
public:
    explicit BlockWalk(ByteWindow& file, std::int64_t start) : file_(file), position_(start) {}

    std::int64_t Position() const { return position_; }

    std::optional<std::uint8_t> Kind() {
        const ByteSpan byte = file_.At(position_, 1);
        return byte.empty() ? std::nullopt : std::optional(byte[0]);
    }

    void Skip(std::int64_t bytes) { position_ += bytes; }

    // From the kind byte to the end of the picture data.
    bool SkipImage() {
        // Kind, left, top, width, height, flags.
        constexpr std::int64_t descriptorBytes = 10;
        const ByteSpan descriptor = file_.At(position_, descriptorBytes);
        if (descriptor.empty() || LoadLittle<std::uint16_t>(descriptor, 5) == 0 ||
            LoadLittle<std::uint16_t>(descriptor, 7) == 0) {
            return false;
        }
        image_.pixels =
            std::int64_t{LoadLittle<std::uint16_t>(descriptor, 5)} * LoadLittle<std::uint16_t>(descriptor, 7);
        position_ += descriptorBytes + ColourTableBytes(descriptor[9]);
        constexpr std::uint8_t widestCode = 12;
        const ByteSpan codeWidth = file_.At(position_, 1);
        if (codeWidth.empty() || codeWidth[0] == 0 || codeWidth[0] > widestCode) {
            return false;
        }
        ++position_;
        image_.symbolBits = codeWidth[0];
        image_.data = position_;
        return SkipSubBlocks();
    }

    // The image that was skipped last.
    const GifPicture::Image& LastImage() const { return image_; }

    bool SkipExtension() {
        // Kind and label.
        position_ += 2;
        if (!SkipSubBlocks()) {
            return false;
        }
        // Empty ones in a row, which would take a walk the most steps.
        constexpr std::size_t emptyBytes = 3;
        const ByteSpan row = file_.From(position_);
        std::size_t next = 0;
        for (; next + emptyBytes <= row.size() && row[next] == Extension && row[next + 2] == 0; next += emptyBytes) {
            file_.Charge(BlockWork);
        }
        position_ += static_cast<std::int64_t>(next);
        return true;
    }

private:
    // The cost of stepping to a sub-block, counted in bytes read.
    static constexpr std::int64_t BlockWork = 64;
    static constexpr std::int64_t SubBlockWork = 8;

    // Each begins with a length byte; an empty one is the last.
    bool SkipSubBlocks() {
        file_.Charge(BlockWork);
        for (ByteSpan bytes = file_.From(position_); !bytes.empty(); bytes = file_.From(position_)) {
            std::size_t next = 0;
            std::int64_t count = 0;
            while (next < bytes.size()) {
                // Four sub-blocks of one byte each, which would take a walk the most steps.
                constexpr std::uint64_t fourOfOne = 0x0101010101010101;
                if (bytes.size() - next >= sizeof(fourOfOne) && LoadLittle<std::uint64_t>(bytes, next) == fourOfOne) {
                    next += sizeof(fourOfOne);
                    count += 4;
                    continue;
                }
                const std::uint8_t length = bytes[next];
                next += std::size_t{1} + length;
                if (length == 0) {
                    position_ += static_cast<std::int64_t>(next);
                    return true;
                }
                ++count;
            }
            file_.Charge(count * SubBlockWork);
            position_ += static_cast<std::int64_t>(next);
        }
        return false;
    }

    ByteWindow& file_;
    std::int64_t position_;
    GifPicture::Image image_{};
};

}  // namespace

bool GifPicture::IsHeader(ByteSpan sector) {
    return sector.size() > ScreenBytes && (StartsWith(sector, Version89) || StartsWith(sector, Version87)) &&
           LoadLittle<std::uint16_t>(sector, 6) != 0 && LoadLittle<std::uint16_t>(sector, 8) != 0;
}

std::optional<WalkedFile> GifPicture::Walk(ByteWindow& file, const std::function<void(const Image&)>& take) {
    const ByteSpan screen = file.At(0, ScreenBytes);
    if (screen.empty()) {
        return std::nullopt;
    }
    BlockWalk walk(file, ScreenBytes + ColourTableBytes(screen[10]));
    if (walk.Kind() == Padding) {
        return std::nullopt;
    }
    // Viewers show those images of a damaged file that are whole.
    std::optional<std::int64_t> lastImageEnd;
    for (int strayBytes = 0; const std::optional<std::uint8_t> kind = walk.Kind();) {
        constexpr int mostStrayBytes = 16;
        if (kind == Trailer) {
            return lastImageEnd ? std::optional(WalkedFile{walk.Position() + 1}) : std::nullopt;
        }
        if (kind == Descriptor && walk.SkipImage()) {
            lastImageEnd = walk.Position();
            if (take) {
                take(walk.LastImage());
            }
        } else if (kind == Padding && ++strayBytes <= mostStrayBytes) {
            walk.Skip(1);
        } else if (kind != Extension || !walk.SkipExtension()) {
            break;
        }
    }
    return lastImageEnd ? std::optional(WalkedFile{*lastImageEnd, false}) : std::nullopt;
}
