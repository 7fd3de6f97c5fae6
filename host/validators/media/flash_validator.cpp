#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>

#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/inflate.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr std::size_t HeaderBytes = 8;
constexpr std::uint8_t LastVersion = 50;
constexpr std::uint8_t FirstDeflated = 6;
constexpr std::uint8_t FirstLzma = 13;
constexpr std::uint32_t LargestMovie = 0x40000000;
constexpr std::uint32_t SmallestMovie = 21;

std::uint32_t UnpackedSize(ByteSpan head) { return LoadLittle<std::uint32_t>(head, 4); }

bool BeginsFlash(ByteSpan head) {
    if (head.size() < SmallestMovie || head[1] != 'W' || head[2] != 'S' || head[3] == 0 || head[3] > LastVersion ||
        UnpackedSize(head) < SmallestMovie || UnpackedSize(head) > LargestMovie) {
        return false;
    }
    switch (head[0]) {
        case 'F':
            return true;
        case 'C':
            return head[3] >= FirstDeflated && (head[8] & 0x0FU) == 8 && (head[8] * 256U + head[9]) % 31 == 0;
        case 'Z':
            return head[3] >= FirstLzma;
        default:
            return false;
    }
}

// The header: a rectangle of four numbers, preceded by their width in bits, then frame rate and count.
std::int64_t FirstTag(Place& file) {
    const ByteSpan bits = file.At(HeaderBytes, 1);
    const int width = bits.empty() ? 0 : bits[0] >> 3U;
    return static_cast<std::int64_t>(HeaderBytes) + (5 + 4 * width + 7) / 8 + 4;
}

// Tools hide bytes behind the End tag and count them. Zeros there are more likely a hole in the middle of the tags.
bool HasHiddenBytes(Place& file, std::int64_t endOfTags, std::int64_t size) {
    constexpr std::int64_t looked = 16;
    const ByteSpan bytes = file.At(endOfTags, static_cast<std::size_t>(std::min(looked, size - endOfTags)));
    return std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte != 0; }) && file.NextStart(endOfTags) >= size;
}

Finding ValidatePlain(Place& file, std::int64_t size) {
    constexpr std::uint16_t longLength = 0x3F;
    if (size > file.Limit()) {
        return BrokenAt(file, HeaderBytes, size, FileTypeIndex::Swf, "the movie");
    }
    FieldReader reader(file, FirstTag(file));
    std::int64_t rightUpTo = reader.Position();
    int tags = 0;
    bool hasEnd = false;
    while (!reader.IsBroken() && reader.Position() < size) {
        const auto header = reader.Little<std::uint16_t>();
        const std::uint32_t length =
            (header & longLength) == longLength ? reader.Little<std::uint32_t>() : header & longLength;
        reader.Skip(length);
        if (reader.IsBroken() || reader.Position() > size) {
            break;
        }
        ++tags;
        rightUpTo = reader.Position();
        hasEnd = header == 0;
        if (hasEnd) {
            break;
        }
    }
    if (hasEnd && tags >= 3 && rightUpTo < size && HasHiddenBytes(file, rightUpTo, size)) {
        return {
            Verdict::Whole, size, FileTypeIndex::Swf, {}, "an End tag, and other bytes up to the size in its header"};
    }
    if (rightUpTo != size) {
        return tags < 3 ? Finding{}
                        : BrokenAt(file, rightUpTo, rightUpTo + 1, FileTypeIndex::Swf, "tags do not tile it");
    }
    return {Verdict::Whole, size, FileTypeIndex::Swf, {}, "tags tile it to the size in its header"};
}

Finding ValidateDeflated(Place& file, std::int64_t unpacked) {
    const auto stream = InflateAt(file, HeaderBytes, file.Limit(), DeflateFormat::Zlib,
                                  unpacked - static_cast<std::int64_t>(HeaderBytes));
    if (!stream) {
        return BrokenAt(file, HeaderBytes, HeaderBytes + 1, FileTypeIndex::Swf, "the deflated movie breaks");
    }
    const std::int64_t end = static_cast<std::int64_t>(HeaderBytes) + stream->packedSize;
    if (stream->size + static_cast<std::int64_t>(HeaderBytes) != unpacked) {
        return {Verdict::Damaged, end, FileTypeIndex::Swf, {}, "unpacks to less than its header says"};
    }
    return {Verdict::Whole, end, FileTypeIndex::Swf, {}, "unpacks to the size in its header"};
}

// The packed length, five bytes of coder properties, and the stream, whose first byte is always 0.
Finding ValidateLzma(Place& file) {
    constexpr std::size_t prefix = 17;
    constexpr std::uint8_t mostProperties = 9 * 5 * 5;
    std::array<std::uint8_t, prefix + 1> head{};
    if (!file.Copy(0, head) || head[12] >= mostProperties || head[prefix] != 0) {
        return {};
    }
    const std::int64_t end = static_cast<std::int64_t>(prefix) + LoadLittle<std::uint32_t>(head, HeaderBytes);
    if (end > file.Limit()) {
        return BrokenAt(file, prefix, end, FileTypeIndex::Swf, "the packed movie");
    }
    return {Verdict::Whole, end, FileTypeIndex::Swf, {}, "as long as its header says, packed"};
}

Finding ValidateFlash(Place& file) {
    std::array<std::uint8_t, HeaderBytes> head{};
    if (!file.Copy(0, head)) {
        return {};
    }
    switch (head[0]) {
        case 'F':
            return ValidatePlain(file, UnpackedSize(head));
        case 'C':
            return ValidateDeflated(file, UnpackedSize(head));
        default:
            return ValidateLzma(file);
    }
}

constexpr StartSignature Starts[] = {{"FWS"}, {"CWS"}, {"ZWS"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Swf};

}  // namespace

/// Flash movies. Source: SWF File Format Specification 19, chapter 2.
extern const Validator FlashValidator;
const Validator FlashValidator{
    .name = "flash", .starts = Starts, .begins = BeginsFlash, .validate = ValidateFlash, .types = Types};

}  // namespace salvor
