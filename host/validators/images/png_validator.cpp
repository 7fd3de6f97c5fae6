#include <FileTypeCatalog.h>
#include <zlib.h>

#include <algorithm>
#include <array>

#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr auto Signature = PatternOf("\x89PNG\r\n\x1A\n");
constexpr auto HeaderChunk = PatternOf("IHDR");
constexpr auto DataChunk = PatternOf("IDAT");
constexpr auto EndChunk = PatternOf("IEND");
// Comes before the header in files that Apple's tools have optimised for phones.
constexpr auto AppleChunk = PatternOf("CgBI");

// Length and type.
constexpr std::size_t ChunkHeadBytes = 8;
constexpr std::int64_t ChecksumBytes = 4;
constexpr std::uint32_t LongestChunk = 0x7FFFFFFF;

bool IsType(ByteSpan type) {
    return std::ranges::all_of(type, [](std::uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); });
}

// The checksum of type and data, from `start` to `end`; nothing if they cannot be read.
std::optional<std::uint32_t> ChecksumOf(Place& file, std::int64_t start, std::int64_t end) {
    uLong sum = 0;
    while (start < end) {
        const ByteSpan shown = file.From(start);
        if (shown.empty()) {
            return std::nullopt;
        }
        const auto count = static_cast<std::size_t>(std::min(static_cast<std::int64_t>(shown.size()), end - start));
        sum = crc32(sum, shown.data(), static_cast<uInt>(count));
        start += static_cast<std::int64_t>(count);
    }
    return static_cast<std::uint32_t>(sum);
}

bool BeginsPng(ByteSpan head) {
    return StartsWith(head, Signature) && (HasPatternAt(head, Signature.size() + 4, HeaderChunk) ||
                                           HasPatternAt(head, Signature.size() + 4, AppleChunk));
}

Finding ValidatePng(Place& file) {
    auto at = static_cast<std::int64_t>(Signature.size());
    bool hasData = false;
    bool sumsAreRight = true;
    // Each chunk takes at least a dozen bytes, so this ends.
    for (;;) {
        std::array<std::uint8_t, ChunkHeadBytes> head{};
        const std::int64_t headEnd = at + static_cast<std::int64_t>(ChunkHeadBytes);
        const bool wasRead = file.Copy(at, head);
        const auto length = LoadBig<std::uint32_t>(head, 0);
        const ByteSpan type = ByteSpan(head).subspan(4);
        if (!wasRead || length > LongestChunk || !IsType(type)) {
            return BrokenAt(file, at, wasRead ? at : headEnd, FileTypeIndex::Png, "no chunk where one is due");
        }
        const std::int64_t dataEnd = headEnd + length;
        const std::int64_t end = dataEnd + ChecksumBytes;
        if (end > file.Limit()) {
            return BrokenAt(file, at, end, FileTypeIndex::Png, "a chunk");
        }
        const auto sum = ChecksumOf(file, headEnd - 4, dataEnd);
        const ByteSpan declared = file.At(dataEnd, ChecksumBytes);
        const bool sumIsRight = sum && !declared.empty() && LoadBig<std::uint32_t>(declared, 0) == *sum;
        if (!sumIsRight) {
            // If another chunk follows, bytes inside this one were overwritten; else its length is wrong.
            const ByteSpan next = file.At(end + 4, 4);
            if (!StartsWith(type, EndChunk) && (next.empty() || !IsType(next))) {
                return BrokenAt(file, at, end, FileTypeIndex::Png, "a chunk's checksum is wrong");
            }
            sumsAreRight = false;
        }
        hasData = hasData || StartsWith(type, DataChunk);
        at = end;
        if (StartsWith(type, EndChunk)) {
            break;
        }
    }
    if (!sumsAreRight || !hasData) {
        return {Verdict::Damaged, at, FileTypeIndex::Png, {}, hasData ? "a chunk's checksum is wrong" : "no picture"};
    }
    return {Verdict::Whole, at, FileTypeIndex::Png, {}, "chunks with right checksums up to IEND"};
}

constexpr StartSignature Starts[] = {{"\x89PNG\r\n\x1A\n"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Png};

}  // namespace

/// PNG and animated PNG. Source: W3C, Portable Network Graphics (PNG) Specification, section 5.
extern const Validator PngValidator;
const Validator PngValidator{
    .name = "png", .starts = Starts, .begins = BeginsPng, .validate = ValidatePng, .types = Types};

}  // namespace salvor
