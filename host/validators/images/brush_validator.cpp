#include <FileTypeCatalog.h>

#include <optional>

#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

// Versions 1 and 2: a count of brushes, each computed from five numbers or sampled.
constexpr std::uint16_t ComputedBrush = 1;
constexpr std::uint16_t SampledBrush = 2;

bool BeginsEarly(ByteSpan head) {
    if (head.size() < 16) {
        return false;
    }
    const auto version = LoadBig<std::uint16_t>(head, 0);
    const auto kind = LoadBig<std::uint16_t>(head, 4);
    return (version == 1 || version == 2) && head[2] == 0 && head[3] != 0 &&
           (kind == ComputedBrush || kind == SampledBrush);
}

// Spacing, diameter, roundness, angle and hardness.
bool IsComputedBrush(FieldReader& fields, std::uint32_t length) {
    fields.Skip(4);
    const auto spacing = fields.Big<std::uint16_t>();
    const auto diameter = fields.Big<std::uint16_t>();
    const auto roundness = fields.Big<std::uint16_t>();
    fields.Skip(2);
    const auto hardness = fields.Big<std::uint16_t>();
    return length == 14 && spacing <= 1000 && diameter >= 1 && diameter <= 9999 && roundness <= 100 && hardness <= 100;
}

// The size of rows with their lengths first, or of plain rows; nothing if the numbers are inconsistent.
std::optional<std::int64_t> SampleBytes(FieldReader& fields) {
    constexpr std::uint32_t longestSide = 0x4000;
    fields.Skip(1 + 4 * 2);
    const auto top = fields.Big<std::uint32_t>();
    const auto left = fields.Big<std::uint32_t>();
    const std::uint32_t rows = fields.Big<std::uint32_t>() - top;
    const std::uint32_t columns = fields.Big<std::uint32_t>() - left;
    const auto depth = fields.Big<std::uint16_t>();
    const std::uint8_t compression = fields.Byte();
    if (rows < 1 || rows > longestSide || columns < 1 || columns > longestSide || (depth != 8 && depth != 16) ||
        compression > 1) {
        return std::nullopt;
    }
    if (compression == 0) {
        return std::int64_t{rows} * columns * (depth / 8);
    }
    std::int64_t bytes = std::int64_t{2} * rows;
    for (std::uint32_t row = 0; row < rows; ++row) {
        bytes += fields.Big<std::uint16_t>();
    }
    return bytes;
}

bool IsSampledBrush(FieldReader& fields, std::uint32_t length, std::uint16_t version) {
    const std::int64_t start = fields.Position();
    fields.Skip(4 + 2);
    if (version == 2) {
        fields.Skip(std::uint64_t{2} * fields.Big<std::uint32_t>());
    }
    // Flags, eight bounds, depth and compression.
    constexpr std::int64_t headBytes = 1 + 4 * 2 + 4 * 4 + 2 + 1;
    const std::int64_t sample = fields.Position() + headBytes;
    const std::optional<std::int64_t> bytes = SampleBytes(fields);
    return bytes && !fields.IsBroken() && sample + *bytes == start + length;
}

Finding ValidateEarly(Place& file) {
    FieldReader fields(file, 0);
    const auto version = fields.Big<std::uint16_t>();
    const auto count = fields.Big<std::uint16_t>();
    for (std::uint16_t brush = 0; brush < count; ++brush) {
        const std::int64_t start = fields.Position();
        const auto kind = fields.Big<std::uint16_t>();
        const auto length = fields.Big<std::uint32_t>();
        FieldReader body = fields;
        const bool isRight =
            kind == ComputedBrush ? IsComputedBrush(body, length) : IsSampledBrush(body, length, version);
        fields.Skip(length);
        if ((kind != ComputedBrush && kind != SampledBrush) || !isRight || body.IsBroken() || fields.IsBroken()) {
            return brush == 0 ? Finding{} : BrokenAt(file, start, fields.Position() + 1, FileTypeIndex::Abr, "a brush");
        }
    }
    return {Verdict::Whole, fields.Position(), FileTypeIndex::Abr, {}, "all brushes that it counts"};
}

// Since version 6: blocks, one of which has the samples and another the brushes made from them.
constexpr auto BlockMark = PatternOf("8BIM");
constexpr auto SampleBlock = PatternOf("samp");
constexpr auto DescriptionBlock = PatternOf("desc");
constexpr std::int64_t BlockHeadBytes = 12;

bool BeginsLate(ByteSpan head) {
    return head.size() >= 16 && LoadBig<std::uint16_t>(head, 0) >= 6 && LoadBig<std::uint16_t>(head, 0) <= 10 &&
           LoadBig<std::uint16_t>(head, 2) <= 2 && HasPatternAt(head, 4, BlockMark);
}

// Samples, each padded to a multiple of 4.
bool TileSamples(Place& file, std::int64_t start, std::int64_t end) {
    std::int64_t at = start;
    while (at < end) {
        const ByteSpan length = file.At(at, 4);
        if (length.empty()) {
            return false;
        }
        at += 4 + (std::int64_t{LoadBig<std::uint32_t>(length, 0)} + 3) / 4 * 4;
    }
    return at == end && start < end;
}

Finding ValidateLate(Place& file) {
    constexpr int mostBlocks = 1024;
    std::int64_t at = 4;
    std::int64_t end = at;
    bool hasBrushes = false;
    bool areTiled = false;
    bool hasDescription = false;
    for (int blocks = 0; blocks < mostBlocks; ++blocks) {
        ByteSpan head = file.At(at, static_cast<std::size_t>(BlockHeadBytes));
        // Some writers pad blocks whose length is not a multiple of 4.
        if (!StartsWith(head, BlockMark) && blocks > 0) {
            at = (end + 3) / 4 * 4;
            head = file.At(at, static_cast<std::size_t>(BlockHeadBytes));
        }
        if (!StartsWith(head, BlockMark)) {
            break;
        }
        const bool isSamples = HasPatternAt(head, 4, SampleBlock);
        hasDescription = hasDescription || HasPatternAt(head, 4, DescriptionBlock);
        const std::int64_t next = at + BlockHeadBytes + LoadBig<std::uint32_t>(head, 8);
        if (next > file.Limit()) {
            return BrokenAt(file, at, next, FileTypeIndex::Abr, "a block");
        }
        hasBrushes = hasBrushes || isSamples;
        areTiled = areTiled || (isSamples && TileSamples(file, at + BlockHeadBytes, next));
        at = end = next;
    }
    if (!hasBrushes && !hasDescription) {
        return {};
    }
    const bool isWhole = areTiled || (hasBrushes && hasDescription);
    return {isWhole ? Verdict::Whole : Verdict::Open, end, FileTypeIndex::Abr, {}, "blocks of brushes"};
}

bool Begins(ByteSpan head) { return BeginsEarly(head) || BeginsLate(head); }

Finding Validate(Place& file) { return BeginsLate(file.From(0, 16)) ? ValidateLate(file) : ValidateEarly(file); }

constexpr std::string_view EarlyMask = "\xFF\xFF\xFF\0\xFF\xFF"sv;
constexpr StartSignature Starts[] = {{"8BIM", 4},
                                     {"\0\1\0\0\0\1"sv, 0, EarlyMask},
                                     {"\0\1\0\0\0\2"sv, 0, EarlyMask},
                                     {"\0\2\0\0\0\1"sv, 0, EarlyMask},
                                     {"\0\2\0\0\0\2"sv, 0, EarlyMask}};

}  // namespace

/// Photoshop's brushes. Source: Adobe Photoshop File Formats Specification, image resource blocks; no document
/// describes the brushes themselves.
extern const Validator AbrValidator;
const Validator AbrValidator{.name = "abr", .starts = Starts, .begins = Begins, .validate = Validate};

}  // namespace salvor
