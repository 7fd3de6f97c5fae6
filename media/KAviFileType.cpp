#include "media/KAviFileType.h"

#include <algorithm>
#include <array>

#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::int64_t FirstChunkLimit = 0x40000000;
constexpr std::int64_t ChainLimit = 0x2000000000;
constexpr auto ExtensionType = PatternOf("AVIX");
// What a step costs besides the bytes that are read for it.
constexpr std::int64_t StepCost = 8;

}  // namespace

std::optional<std::int64_t> KAviFileType::Measure(const Candidate& candidate) {
    const std::int64_t size = LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset) + RiffHeaderBytes;
    if (size > FirstChunkLimit || candidate.block.source == nullptr) {
        return std::min(size, FirstChunkLimit);
    }
    memory_.BeginWalk();
    KFileSimulator reader(&candidate.block, candidate.startSector, ChainLimit, &memory_);
    std::int64_t offset = size;
    // A walk in a circle meets the place that it noted last: the steps up to the next note double.
    std::int64_t noted = size;
    for (std::int64_t steps = 1, nextNote = 1; offset < ChainLimit; ++steps) {
        std::array<std::uint8_t, 16> header{};
        reader.Seek(offset);
        if (memory_.IsExhausted() || !reader.Read(header.data(), static_cast<std::uint32_t>(header.size()))) {
            return std::nullopt;
        }
        if (!StartsWith(header, RiffSignature) || !HasPatternAt(header, RiffFormOffset, ExtensionType)) {
            return offset;
        }
        // Signed, unlike the size of the first chunk: a negative one leads back.
        offset += static_cast<std::int32_t>(LoadLittle<std::uint32_t>(header, RiffSizeOffset)) + RiffHeaderBytes;
        if (offset == noted) {
            return std::nullopt;
        }
        if (steps == nextNote) {
            noted = offset;
            nextNote *= 2;
        }
        memory_.Charge(StepCost);
    }
    return ChainLimit;
}
