#include "formats/PictureWalks.h"

#include <algorithm>
#include <vector>

#include "frame/bytes/FieldReader.h"

namespace {

constexpr std::size_t VersionOffset = 9;
constexpr std::size_t WidthOffset = 14;
constexpr std::size_t PrecisionOffset = 26;

constexpr int FirstWithPrecision = 4;
constexpr int FirstWithLongPointers = 11;
constexpr int FirstWithPaths = 18;
constexpr int FirstWithEffects = 20;
constexpr int FirstWithEffectVersion = 22;
// CinePaint's precisions begin here.
constexpr int FirstForeign = 100;

constexpr std::uint32_t LongestSide = 524288;
constexpr std::uint32_t TileSide = 64;
constexpr std::uint64_t MostTiles = std::uint64_t{1} << 26;
constexpr std::size_t MostParts = 10000;
constexpr std::uint32_t LongestProperty = 0x10000000;

constexpr std::uint32_t EndProperty = 0;
constexpr std::uint32_t ColourMapProperty = 1;
constexpr std::uint32_t CompressionProperty = 17;

constexpr std::uint8_t NotCompressed = 0;
constexpr std::uint8_t RunLengths = 1;
constexpr std::uint8_t LastCompression = 2;

// -1 if there is no version.
int VersionOf(ByteSpan header) {
    const ByteSpan text = header.subspan(VersionOffset, 5);
    if (StartsWith(text, PatternOf("file\0"))) {
        return 0;
    }
    if (text[0] != 'v' || text[4] != 0) {
        return -1;
    }
    int version = 0;
    for (const std::uint8_t digit : text.subspan(1, 3)) {
        if (digit < '0' || digit > '9') {
            return -1;
        }
        version = version * 10 + (digit - '0');
    }
    return version;
}

bool IsSide(std::uint32_t side) { return side >= 1 && side <= LongestSide; }

bool IsPrecision(int version, std::uint32_t precision) {
    return version == FirstWithPrecision ? precision <= 4 : precision >= 100 && precision <= 750;
}

// Parts are stored in the order in which they are walked, so the end of the current part is the file's end so far, and
// no byte is walked twice.
class Picture {
public:
    Picture(ByteWindow& file, int version) : file_(file), version_(version) {}

    std::optional<WalkedFile> Measure();

private:
    using Pointers = std::vector<std::uint64_t>;

    std::uint64_t ReadPointer(FieldReader& fields) const {
        return version_ >= FirstWithLongPointers ? fields.Big<std::uint64_t>() : fields.Big<std::uint32_t>();
    }
    Pointers ReadPointers(FieldReader& fields) const;
    void ReadProperties(FieldReader& fields);

    // A part's own fields; empty unless the pointer leads past all earlier parts.
    std::optional<FieldReader> FieldsAt(std::uint64_t pointer) const;
    // Makes the fields' end the file's end so far.
    bool Close(const FieldReader& fields);

    bool WalkLayer(std::uint64_t pointer);
    bool WalkEffect(std::uint64_t pointer);
    bool WalkChannel(std::uint64_t pointer);
    bool WalkPath(std::uint64_t pointer);
    bool WalkHierarchy(std::uint64_t pointer);
    bool WalkTiles(std::uint64_t pointer, std::uint32_t pixelBytes);
    bool WalkLastTile(std::uint64_t pointer, std::uint64_t pixels, std::uint32_t pixelBytes);

    ByteWindow& file_;
    int version_;
    std::uint8_t compression_ = NotCompressed;
    std::int64_t end_ = 0;
    // The most that the last tile, whose length is unknown, can take after `end_`.
    std::int64_t mostTileBytes_ = 0;
};

// Lists end with a zero pointer. One with more than `MostParts` breaks the reader.
Picture::Pointers Picture::ReadPointers(FieldReader& fields) const {
    Pointers pointers;
    while (const std::uint64_t pointer = ReadPointer(fields)) {
        if (pointers.size() == MostParts) {
            fields.Break();
            return {};
        }
        pointers.push_back(pointer);
    }
    return pointers;
}

void Picture::ReadProperties(FieldReader& fields) {
    std::uint32_t type = 0;
    do {
        type = fields.Big<std::uint32_t>();
        const auto length = fields.Big<std::uint32_t>();
        if (length > LongestProperty || (type == EndProperty && length != 0)) {
            fields.Break();
        }
        if (type == ColourMapProperty) {
            // The length is wrong in old files.
            fields.Skip(std::uint64_t{3} * fields.Big<std::uint32_t>());
        } else if (type == CompressionProperty && length == 1) {
            compression_ = fields.Byte();
        } else {
            fields.Skip(length);
        }
    } while (type != EndProperty && !fields.IsBroken());
}

void SkipText(FieldReader& fields) { fields.Skip(fields.Big<std::uint32_t>()); }

std::optional<FieldReader> Picture::FieldsAt(std::uint64_t pointer) const {
    if (pointer < static_cast<std::uint64_t>(end_) || pointer >= static_cast<std::uint64_t>(file_.Limit())) {
        return std::nullopt;
    }
    return FieldReader(file_, static_cast<std::int64_t>(pointer));
}

bool Picture::Close(const FieldReader& fields) {
    end_ = std::max(end_, fields.Position());
    mostTileBytes_ = 0;
    return !fields.IsBroken();
}

std::optional<WalkedFile> Picture::Measure() {
    FieldReader fields(file_, version_ >= FirstWithPrecision ? PrecisionOffset + 4 : PrecisionOffset);
    ReadProperties(fields);
    const Pointers layers = ReadPointers(fields);
    const Pointers channels = ReadPointers(fields);
    const Pointers paths = version_ >= FirstWithPaths ? ReadPointers(fields) : Pointers{};
    const auto walkAll = [this](const Pointers& pointers, bool (Picture::*walk)(std::uint64_t)) {
        return std::ranges::all_of(pointers, [&](std::uint64_t pointer) { return (this->*walk)(pointer); });
    };
    const bool isWhole = compression_ <= LastCompression && Close(fields) && walkAll(layers, &Picture::WalkLayer) &&
                         walkAll(channels, &Picture::WalkChannel) && walkAll(paths, &Picture::WalkPath);
    if (!isWhole) {
        return std::nullopt;
    }
    return WalkedFile{std::min(end_ + mostTileBytes_, file_.Limit()), true, mostTileBytes_};
}

bool Picture::WalkLayer(std::uint64_t pointer) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields || !IsSide(fields->Big<std::uint32_t>()) || !IsSide(fields->Big<std::uint32_t>()) ||
        fields->Big<std::uint32_t>() > 5) {
        return false;
    }
    SkipText(*fields);
    ReadProperties(*fields);
    const std::uint64_t hierarchy = ReadPointer(*fields);
    const std::uint64_t mask = ReadPointer(*fields);
    const Pointers effects = version_ >= FirstWithEffects ? ReadPointers(*fields) : Pointers{};
    return Close(*fields) && WalkHierarchy(hierarchy) && (mask == 0 || WalkChannel(mask)) &&
           std::ranges::all_of(effects, [this](std::uint64_t effect) { return WalkEffect(effect); });
}

bool Picture::WalkEffect(std::uint64_t pointer) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields) {
        return false;
    }
    // Name, icon, operation and its version.
    for (int texts = version_ >= FirstWithEffectVersion ? 4 : 3; texts > 0; --texts) {
        SkipText(*fields);
    }
    ReadProperties(*fields);
    const std::uint64_t mask = ReadPointer(*fields);
    return Close(*fields) && (mask == 0 || WalkChannel(mask));
}

bool Picture::WalkChannel(std::uint64_t pointer) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields || !IsSide(fields->Big<std::uint32_t>()) || !IsSide(fields->Big<std::uint32_t>())) {
        return false;
    }
    SkipText(*fields);
    ReadProperties(*fields);
    const std::uint64_t hierarchy = ReadPointer(*fields);
    return Close(*fields) && WalkHierarchy(hierarchy);
}

bool Picture::WalkPath(std::uint64_t pointer) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields) {
        return false;
    }
    SkipText(*fields);
    fields->Skip(fields->Big<std::uint32_t>());
    return Close(*fields);
}

// The levels after the first were meant for smaller versions of the picture and hold no tiles.
bool Picture::WalkHierarchy(std::uint64_t pointer) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields || !IsSide(fields->Big<std::uint32_t>()) || !IsSide(fields->Big<std::uint32_t>())) {
        return false;
    }
    const auto pixelBytes = fields->Big<std::uint32_t>();
    const Pointers levels = ReadPointers(*fields);
    if (pixelBytes < 1 || pixelBytes > 32 || levels.empty() || !Close(*fields) || !WalkTiles(levels[0], pixelBytes)) {
        return false;
    }
    return std::all_of(levels.begin() + 1, levels.end(), [this](std::uint64_t level) {
        std::optional<FieldReader> empty = FieldsAt(level);
        if (!empty) {
            return false;
        }
        empty->Skip(12);
        return Close(*empty);
    });
}

bool Picture::WalkTiles(std::uint64_t pointer, std::uint32_t pixelBytes) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields) {
        return false;
    }
    const auto width = fields->Big<std::uint32_t>();
    const auto height = fields->Big<std::uint32_t>();
    const std::uint64_t columns = (std::uint64_t{width} + TileSide - 1) / TileSide;
    const std::uint64_t rows = (std::uint64_t{height} + TileSide - 1) / TileSide;
    if (!IsSide(width) || !IsSide(height) || columns * rows > MostTiles) {
        return false;
    }
    const auto start = static_cast<std::uint64_t>(fields->Position());
    std::uint64_t lastTile = 0;
    std::uint64_t lastPixels = 0;
    for (std::uint64_t tile = 0; tile < columns * rows; ++tile) {
        const std::uint64_t at = ReadPointer(*fields);
        if (at < start || fields->IsBroken()) {
            return false;
        }
        if (at >= lastTile) {
            const std::uint64_t tileWidth = std::min<std::uint64_t>(TileSide, width - tile % columns * TileSide);
            const std::uint64_t tileHeight = std::min<std::uint64_t>(TileSide, height - tile / columns * TileSide);
            lastTile = at;
            lastPixels = tileWidth * tileHeight;
        }
    }
    return ReadPointer(*fields) == 0 && Close(*fields) && WalkLastTile(lastTile, lastPixels, pixelBytes);
}

// The number of bytes in the next run of a tile's plane; reads the run's header.
std::uint64_t SkipRun(FieldReader& fields) {
    const std::uint8_t code = fields.Byte();
    const bool isRepeated = code < 128;
    const std::uint64_t length = code == 127 || code == 128 ? fields.Big<std::uint16_t>()
                                 : isRepeated               ? std::uint64_t{code} + 1
                                                            : std::uint64_t{256} - code;
    fields.Skip(isRepeated ? 1 : length);
    if (length == 0) {
        fields.Break();
    }
    return length;
}

bool Picture::WalkLastTile(std::uint64_t pointer, std::uint64_t pixels, std::uint32_t pixelBytes) {
    std::optional<FieldReader> fields = FieldsAt(pointer);
    if (!fields) {
        return false;
    }
    if (compression_ == NotCompressed) {
        fields->Skip(pixels * pixelBytes);
        return Close(*fields);
    }
    if (compression_ != RunLengths) {
        const bool isClosed = Close(*fields);
        mostTileBytes_ = static_cast<std::int64_t>(pixels * pixelBytes);
        return isClosed;
    }
    for (std::uint32_t plane = 0; plane < pixelBytes; ++plane) {
        std::uint64_t left = pixels;
        while (left > 0) {
            const std::uint64_t length = SkipRun(*fields);
            if (fields->IsBroken() || length > left) {
                return false;
            }
            left -= length;
        }
    }
    return Close(*fields);
}

}  // namespace

bool XcfPicture::IsHeader(ByteSpan sector) {
    const int version = VersionOf(sector);
    return version >= 0 && version < FirstForeign && IsSide(LoadBig<std::uint32_t>(sector, WidthOffset)) &&
           IsSide(LoadBig<std::uint32_t>(sector, WidthOffset + 4)) &&
           LoadBig<std::uint32_t>(sector, WidthOffset + 8) <= 2 &&
           (version < FirstWithPrecision || IsPrecision(version, LoadBig<std::uint32_t>(sector, PrecisionOffset)));
}

std::optional<WalkedFile> XcfPicture::Walk(ByteWindow& file) {
    const ByteSpan header = file.At(0, LeastHead);
    return header.empty() ? std::nullopt : Picture(file, VersionOf(header)).Measure();
}
