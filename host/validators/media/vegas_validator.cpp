#include <FileTypeCatalog.h>

#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

// Chunks begin with a GUID, whose first four bytes spell a name, and a 64-bit size that includes the header.
constexpr std::int64_t HeaderBytes = 24;
constexpr std::int64_t FormBytes = 16;
// The scanner compares only the first half.
constexpr auto RiffStart = PatternOf("riff\x2E\x91\xCF\x11");
constexpr auto RiffIdentifier = PatternOf("riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0");
constexpr auto WaveIdentifier = PatternOf("wave\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A");

// The end of the last of the consecutive chunks from `from` on. Each begins at a multiple of `alignment`; the last
// one's padding may be incomplete.
std::int64_t EndOfChunks(Place& file, std::int64_t from, std::int64_t to, std::int64_t alignment) {
    while (from + HeaderBytes <= to && !file.IsExhausted()) {
        const ByteSpan header = file.At(from, static_cast<std::size_t>(HeaderBytes));
        const std::uint64_t size = header.empty() ? 0 : LoadLittle<std::uint64_t>(header, 16);
        if (size < static_cast<std::uint64_t>(HeaderBytes) || size > static_cast<std::uint64_t>(to - from)) {
            break;
        }
        from += static_cast<std::int64_t>(size);
        from += (alignment - from % alignment) % alignment;
        file.Charge(HeaderBytes);
    }
    return from;
}

Finding ValidateVegas(Place& file) {
    const ByteSpan header = file.At(0, static_cast<std::size_t>(HeaderBytes + FormBytes));
    const std::uint64_t size = header.empty() ? 0 : LoadLittle<std::uint64_t>(header, 16);
    if (!StartsWith(header, RiffIdentifier) || size < header.size()) {
        return {};
    }
    const bool isWave = HasPatternAt(header, static_cast<std::size_t>(HeaderBytes), WaveIdentifier);
    const std::int32_t type = isWave ? FileTypeIndex::Wav : FileTypeIndex::Veg;
    const char* const extension = isWave ? "w64" : "";
    if (size > static_cast<std::uint64_t>(file.Limit())) {
        return {Verdict::Truncated, file.Limit(), type, extension, "it goes on past the medium's end"};
    }
    const auto end = static_cast<std::int64_t>(size);
    std::int64_t farthest = 0;
    for (const std::int64_t alignment : {8, 4, 2, 1}) {
        const std::int64_t reached = EndOfChunks(file, HeaderBytes + FormBytes, end, alignment);
        if (reached >= end && reached < end + alignment) {
            return {Verdict::Whole, end, type, extension, "chunks tile it to the size in its header"};
        }
        farthest = std::max(farthest, reached);
    }
    Finding finding = BrokenAt(file, farthest, end, type, "its chunks do not tile it");
    // The outermost chunk's size is a better guess than the place where an inner chunk breaks.
    finding.size = finding.verdict == Verdict::Damaged ? end : finding.size;
    finding.extension = extension;
    return finding;
}

bool BeginsVegas(ByteSpan head) { return StartsWith(head, RiffStart); }

constexpr StartSignature Starts[] = {{"riff\x2E\x91\xCF\x11"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Veg};

}  // namespace

/// Vegas projects, and Wave64 sound, which has the same chunks. Source: Sony Wave64 format.
extern const Validator VegasValidator;
const Validator VegasValidator{
    .name = "vegas", .starts = Starts, .begins = BeginsVegas, .validate = ValidateVegas, .types = Types};

}  // namespace salvor
