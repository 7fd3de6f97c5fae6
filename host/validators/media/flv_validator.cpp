#include <FileTypeCatalog.h>

#include <algorithm>
#include <bit>
#include <optional>

#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr auto Signature = PatternOf("FLV\1");
constexpr std::size_t FileHeaderBytes = 9;
constexpr std::size_t BackPointerBytes = 4;
constexpr std::size_t TagHeaderBytes = 11;
constexpr std::uint8_t Audio = 8;
constexpr std::uint8_t Video = 9;
constexpr std::uint8_t Script = 18;
// A bit of the type byte: the tag's data are encrypted.
constexpr std::uint8_t Filtered = 0x20;

struct Tag {
    std::uint8_t type;
    std::int64_t dataBytes;
    /// The offset of the second copy of the tag's size.
    std::int64_t backPointer;
};

std::optional<Tag> ReadTag(Place& file, std::int64_t offset) {
    const ByteSpan header = file.At(offset, TagHeaderBytes);
    if (header.empty()) {
        return std::nullopt;
    }
    const auto type = static_cast<std::uint8_t>(header[0] & ~Filtered);
    const bool isKnown = type == Audio || type == Video || type == Script;
    // The stream's number is always 0.
    if (!isKnown || header[8] != 0 || header[9] != 0 || header[10] != 0) {
        return std::nullopt;
    }
    const std::int64_t dataBytes = LoadBig<std::uint32_t>(header, 0) & 0xFFFFFFU;
    return Tag{type, dataBytes, offset + static_cast<std::int64_t>(TagHeaderBytes) + dataBytes};
}

// The file size in bytes that the script data declare; 0 if they do not.
double PromisedSize(Place& file, std::int64_t from, std::int64_t to) {
    constexpr BytePattern key = BytePatternOf<"\0\x08\x66ilesize\0">();
    const auto at = file.Find(key, from, std::min(to, from + static_cast<std::int64_t>(ByteWindow::PieceBytes)));
    const ByteSpan number = at ? file.At(*at + static_cast<std::int64_t>(key.size()), 8) : ByteSpan();
    return number.empty() ? 0 : std::bit_cast<double>(LoadBig<std::uint64_t>(number, 0));
}

bool BeginsFlv(ByteSpan head) {
    return head.size() >= FileHeaderBytes + BackPointerBytes && StartsWith(head, Signature) && (head[4] & ~5U) == 0 &&
           LoadBig<std::uint32_t>(head, 5) == FileHeaderBytes && LoadBig<std::uint32_t>(head, FileHeaderBytes) == 0;
}

Finding ValidateFlv(Place& file) {
    auto end = static_cast<std::int64_t>(FileHeaderBytes + BackPointerBytes);
    double promised = 0;
    while (const std::optional<Tag> tag = ReadTag(file, end)) {
        const std::int64_t tagBytes = tag->dataBytes + static_cast<std::int64_t>(TagHeaderBytes);
        const ByteSpan pointer = file.At(tag->backPointer, BackPointerBytes);
        if (pointer.empty()) {
            return BrokenAt(file, end, tag->backPointer + static_cast<std::int64_t>(BackPointerBytes) + file.Limit(),
                            FileTypeIndex::Flv, "a tag");
        }
        const auto size = LoadBig<std::uint32_t>(pointer, 0);
        // Some writers count without the header; some write 0.
        const bool isRight =
            size == tagBytes || size == tag->dataBytes || (size == 0 && ReadTag(file, tag->backPointer + 4));
        if (!isRight) {
            return BrokenAt(file, end, tag->backPointer, FileTypeIndex::Flv, "a tag does not end with its size");
        }
        if (tag->type == Script && promised == 0) {
            promised = PromisedSize(file, end, tag->backPointer);
        }
        end = tag->backPointer + static_cast<std::int64_t>(BackPointerBytes);
    }
    if (end == static_cast<std::int64_t>(FileHeaderBytes + BackPointerBytes)) {
        return {};
    }
    const auto size = static_cast<double>(end);
    if (promised == size) {
        return {Verdict::Whole, end, FileTypeIndex::Flv, {}, "tags tile it to the size in its script data"};
    }
    if (promised > size && file.NextStart(end) < file.Limit() && promised > static_cast<double>(file.NextStart(end))) {
        return {Verdict::Truncated, end, FileTypeIndex::Flv, {}, "its script data promise more"};
    }
    return Unbroken(
        {Verdict::Open, end, FileTypeIndex::Flv, {}, "tags tile it; nothing says that the last is its last"});
}

constexpr StartSignature Starts[] = {{"FLV\1"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Flv};

}  // namespace

/// Flash video. Source: Adobe Flash Video File Format Specification 10.1, annex E.
extern const Validator FlvValidator;
const Validator FlvValidator{
    .name = "flv", .starts = Starts, .begins = BeginsFlv, .validate = ValidateFlv, .types = Types};

}  // namespace salvor
