#include "media/KAviFileType.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::int64_t FirstChunkLimit = 0x40000000;
constexpr std::int64_t ChainLimit = 0x2000000000;
constexpr auto ExtensionType = PatternOf("AVIX");
// Cost of a step besides the bytes it reads.
constexpr std::int64_t StepCost = 8;

enum class Read { Extension, Other, Nothing };
struct Extension {
    Read read;
    // Signed, unlike the size of the first chunk.
    std::int64_t bytes = 0;
};

Extension ExtensionAt(KFileSimulator& reader, std::int64_t offset) {
    std::array<std::uint8_t, 16> header{};
    reader.Seek(offset);
    if (!reader.Read(header.data(), static_cast<std::uint32_t>(header.size()))) {
        return {Read::Nothing};
    }
    if (!StartsWith(header, RiffSignature) || !HasPatternAt(header, RiffFormOffset, ExtensionType)) {
        return {Read::Other};
    }
    return {Read::Extension,
            static_cast<std::int32_t>(LoadLittle<std::uint32_t>(header, RiffSizeOffset)) + RiffHeaderBytes};
}

}  // namespace

std::optional<std::int64_t> AviExtensions::FindEnd(const Candidate& candidate, std::int64_t from) {
    const auto way = trail_.Walk(candidate, from, ChainLimit,
                                 [](KFileSimulator& reader, std::int64_t offset) -> Trail<AviFacts>::Stretch {
                                     const Extension extension = ExtensionAt(reader, offset);
                                     if (extension.read == Read::Other) {
                                         return {.to = offset, .isEnd = true};
                                     }
                                     if (extension.bytes <= 0) {
                                         return {.to = offset, .facts = {.leadsBack = true}, .isEnd = true};
                                     }
                                     return {.to = offset + extension.bytes};
                                 });
    if (!way) {
        return std::nullopt;
    }
    return way->facts.leadsBack ? FindEndInCircles(candidate, way->to) : std::min(way->to, ChainLimit);
}

// Extensions that lead back share nothing with other walks.
std::optional<std::int64_t> AviExtensions::FindEndInCircles(const Candidate& candidate, std::int64_t from) {
    KFileSimulator reader(&candidate.block, candidate.startSector, 0, &budget_);
    std::int64_t offset = from;
    // The noted offset moves on after twice as many steps each time, so a walk in a circle meets it again.
    std::int64_t noted = from;
    for (std::int64_t steps = 1, nextNote = 1; offset < ChainLimit; ++steps) {
        const Extension extension = ExtensionAt(reader, offset);
        if (extension.read == Read::Other) {
            return offset;
        }
        offset += extension.bytes;
        if (extension.read == Read::Nothing || budget_.IsExhausted() || offset == noted) {
            return std::nullopt;
        }
        if (steps == nextNote) {
            noted = offset;
            nextNote *= 2;
        }
        budget_.Charge(StepCost);
    }
    return ChainLimit;
}

std::optional<std::int64_t> KAviFileType::Measure(const Candidate& candidate) {
    const std::int64_t size = LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset) + RiffHeaderBytes;
    if (size > FirstChunkLimit || candidate.block.source == nullptr) {
        return std::min(size, FirstChunkLimit);
    }
    return memory_.FindEnd(candidate, size);
}
