#include "media/KAviFileType.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::int64_t FirstChunkLimit = 0x40000000;
constexpr std::int64_t ChainLimit = 0x2000000000;
constexpr auto ExtensionType = PatternOf("AVIX");

// The size of an extension is signed, unlike that of the first chunk; a negative one leads back.
ChainRecord ReadExtension(KFileSimulator& reader, std::int64_t offset) {
    std::array<std::uint8_t, 16> header{};
    reader.Seek(offset);
    if (!reader.Read(header.data(), static_cast<std::uint32_t>(header.size()))) {
        // No later try would do better.
        return {.kind = ChainRecord::Kind::IsBroken, .wasRead = false};
    }
    if (!StartsWith(header, RiffSignature) || !HasPatternAt(header, RiffFormOffset, ExtensionType)) {
        return {.kind = ChainRecord::Kind::IsNone};
    }
    const auto size = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(header, RiffSizeOffset));
    return {.kind = ChainRecord::Kind::LeadsOn, .length = size + RiffHeaderBytes};
}

}  // namespace

std::optional<std::int64_t> KAviFileType::Measure(const Candidate& candidate) {
    const std::int64_t size = LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset) + RiffHeaderBytes;
    if (size > FirstChunkLimit || candidate.block.source == nullptr) {
        return std::min(size, FirstChunkLimit);
    }
    // No extension is a header of a film.
    const std::optional<ChainWalk::End> end = memory_.Follow(candidate, size, false, ChainLimit, ReadExtension);
    return end ? std::optional(std::min(end->offset, ChainLimit)) : std::nullopt;
}
