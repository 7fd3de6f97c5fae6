#include "documents/KOneFileType.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace {

constexpr std::size_t PrefixBytes = 64;
constexpr std::size_t FormatPlace = 48;
constexpr auto RevisionStore = PatternOf("\x3F\xDD\x9A\x10\x1B\x91\xF5\x49\xA5\xD0\x17\x91\xED\xC8\xAE\xD8");
constexpr auto PackagedStore = PatternOf("\x2F\xE9\x8D\x63\xD4\xA6\xC1\x4B\x9A\x36\xB3\xFC\x25\x11\xA5\xB7");

bool AreZeros(ByteSpan bytes) {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

constexpr std::size_t HeaderBytes = 1024;

// Versions: of the writing program, and of the oldest ones that may read and write the file.
bool HasSoundVersions(ByteSpan header) {
    constexpr std::uint32_t section = 0x2A;
    constexpr std::uint32_t contents = 0x1B;
    for (std::size_t offset = 64; offset < 80; offset += 4) {
        const auto version = LoadLittle<std::uint32_t>(header, offset);
        if (version != section && version != contents) {
            return false;
        }
    }
    return true;
}

// True if the chunk, given by a 64-bit offset and a 32-bit size, lies after the header and within the file.
bool HasChunk(ByteSpan header, std::size_t offset, std::uint64_t length) {
    const auto chunkStart = LoadLittle<std::uint64_t>(header, offset);
    const std::uint64_t chunkBytes = LoadLittle<std::uint32_t>(header, offset + 8);
    return chunkStart >= HeaderBytes && chunkStart <= length && chunkBytes <= length - chunkStart;
}

std::optional<std::int64_t> RevisionStoreLength(FileWindow& file) {
    constexpr std::uint64_t largestLength = std::uint64_t{1} << 40U;
    constexpr std::size_t usedBytes = 296;
    const ByteSpan header = file.At(0, HeaderBytes);
    if (header.empty() || !AreZeros(header.subspan(32, 16)) || !HasSoundVersions(header) ||
        !AreZeros(header.subspan(usedBytes))) {
        return std::nullopt;
    }
    const auto length = LoadLittle<std::uint64_t>(header, 196);
    // The transaction log and the root list.
    if (length > largestLength || !HasChunk(header, 160, length) || !HasChunk(header, 172, length)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(length);
}

// A number of 1 to 9 bytes. The lowest set bit of the first byte gives the number of bytes; the value is in the bits
// above. A first byte of zero is the value zero.
struct CompactNumber {
    std::int64_t bytes;
    std::uint64_t value;
};

std::optional<CompactNumber> ReadCompactNumber(FileWindow& file, std::int64_t offset) {
    const ByteSpan first = file.At(offset, 1);
    if (first.empty()) {
        return std::nullopt;
    }
    if (first[0] == 0) {
        return CompactNumber{1, 0};
    }
    const auto lowestBit = static_cast<unsigned>(std::countr_zero(first[0]));
    const std::size_t count = lowestBit + 1;
    if (lowestBit == 7) {
        const ByteSpan bytes = file.At(offset + 1, 8);
        return bytes.empty() ? std::nullopt : std::optional(CompactNumber{9, LoadLittle<std::uint64_t>(bytes, 0)});
    }
    const ByteSpan bytes = file.At(offset, count);
    if (bytes.empty()) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = count; i-- > 0;) {
        value = value << 8U | bytes[i];
    }
    return CompactNumber{static_cast<std::int64_t>(count), value >> count};
}

// An identifier and a packed number.
std::optional<std::int64_t> ExtendedGuidBytes(FileWindow& file, std::int64_t offset) {
    const ByteSpan bytes = file.At(offset, 1);
    if (bytes.empty()) {
        return std::nullopt;
    }
    const std::uint8_t first = bytes[0];
    if (first == 0) {
        return 1;
    }
    if ((first & 0x07U) == 0x04) {
        return 17;
    }
    if ((first & 0x3FU) == 0x20) {
        return 18;
    }
    if ((first & 0x7FU) == 0x40) {
        return 19;
    }
    return first == 0x80 ? std::optional<std::int64_t>(21) : std::nullopt;
}

// The objects of a packaged store. Each begins with its type and the length of its data. A compound object contains
// other objects up to an end of the same type.
class ObjectStream {
public:
    explicit ObjectStream(FileWindow& file) : file_(file) {}

    // Where the outermost object ends.
    std::optional<std::int64_t> End() {
        if (!OpenPackage()) {
            return std::nullopt;
        }
        for (std::int32_t steps = 0; steps < MostSteps && !open_.empty(); ++steps) {
            if (file_.IsExhausted() || !Step()) {
                return std::nullopt;
            }
        }
        return open_.empty() ? std::optional(position_) : std::nullopt;
    }

private:
    static constexpr std::uint32_t PackageType = 0x7A;
    static constexpr std::int64_t GuidBytes = 16;
    static constexpr std::int32_t MostSteps = 1 << 23;
    static constexpr std::size_t DeepestNesting = 64;

    // The length in the package's header does not always include the schema's GUID, so the data are parsed.
    bool OpenPackage() {
        constexpr std::int64_t start = 68;
        const ByteSpan bytes = file_.At(start, 4);
        if (bytes.empty() || (bytes[0] & 3U) != 2 || LongType(LoadLittle<std::uint32_t>(bytes, 0)) != PackageType) {
            return false;
        }
        const std::optional<std::int64_t> index = ExtendedGuidBytes(file_, start + 4);
        position_ = start + 4 + index.value_or(0) + GuidBytes;
        open_.push_back(PackageType);
        return index.has_value();
    }

    // Steps over an object's start and data, or over an end.
    bool Step() {
        constexpr std::int64_t objectWork = 512;
        file_.Charge(objectWork);
        const ByteSpan low = file_.At(position_, 1);
        if (low.empty()) {
            return false;
        }
        const std::uint8_t first = low[0];
        // A start has twice the bytes of an end, and the second bit doubles that.
        const std::size_t headerBytes = std::size_t{(first & 1U) != 0 ? 1U : 2U} * ((first & 2U) != 0 ? 2U : 1U);
        const ByteSpan bytes = file_.At(position_, headerBytes);
        if (bytes.empty()) {
            return false;
        }
        position_ += static_cast<std::int64_t>(headerBytes);
        switch (first & 3U) {
            case 0: {
                const auto header = LoadLittle<std::uint16_t>(bytes, 0);
                return Enter((header >> 3U) & 0x3FU, (header & 4U) != 0, header >> 9U);
            }
            case 1:
                return Leave(std::uint32_t{first} >> 2U);
            case 2:
                return EnterLong(LoadLittle<std::uint32_t>(bytes, 0));
            default:
                return Leave(std::uint32_t{LoadLittle<std::uint16_t>(bytes, 0)} >> 2U);
        }
    }

    static std::uint32_t LongType(std::uint32_t header) { return (header >> 3U) & 0x3FFFU; }

    bool EnterLong(std::uint32_t header) {
        constexpr std::uint32_t lengthFollows = 0x7FFF;
        std::uint64_t length = header >> 17U;
        if (length == lengthFollows) {
            const std::optional<CompactNumber> number = ReadCompactNumber(file_, position_);
            if (!number) {
                return false;
            }
            position_ += number->bytes;
            length = number->value;
        }
        return Enter(LongType(header), (header & 4U) != 0, length);
    }

    bool Enter(std::uint32_t type, bool isCompound, std::uint64_t length) {
        if (type == 0 || length > static_cast<std::uint64_t>(file_.Limit()) || open_.size() >= DeepestNesting) {
            return false;
        }
        position_ += static_cast<std::int64_t>(length);
        if (isCompound) {
            open_.push_back(type);
        }
        return true;
    }

    bool Leave(std::uint32_t type) {
        if (open_.back() != type) {
            return false;
        }
        open_.pop_back();
        return true;
    }

    FileWindow& file_;
    std::int64_t position_ = 0;
    // The types of the open compound objects.
    std::vector<std::uint32_t> open_;
};

}  // namespace

bool KOneFileType::IsHeader(ByteSpan sector) {
    return sector.size() >= PrefixBytes &&
           (HasPatternAt(sector, FormatPlace, RevisionStore) || HasPatternAt(sector, FormatPlace, PackagedStore));
}

std::optional<std::int64_t> KOneFileType::Walk(FileWindow& file) {
    const ByteSpan prefix = file.At(0, PrefixBytes + 4);
    if (prefix.empty()) {
        return std::nullopt;
    }
    if (HasPatternAt(prefix, FormatPlace, RevisionStore)) {
        return RevisionStoreLength(file);
    }
    return AreZeros(prefix.subspan(PrefixBytes)) ? ObjectStream(file).End() : std::nullopt;
}
