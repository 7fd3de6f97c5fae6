#include "containers/KBckFileType.h"

#include <algorithm>

#include "frame/bytes/CompareBytesNoCase.h"

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr std::size_t FirstText = 4;
// From the end of the first text to the second one's count, and from there to the text.
constexpr std::size_t GapBytes = 8;
constexpr std::size_t CountBytes = 4;
constexpr auto Suffix = PatternOf(".dat");

bool IsPrintable(std::uint8_t byte) { return byte >= 32 && byte <= 126; }

}  // namespace

void KBckFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    // The first text has at most 255 bytes, so the upper bytes of its count are zero.
    constexpr SectorFilter head({}, {0, 0xFF, 0xFF, 0xFF}, 0);
    ForEachSector(*block, head, [&](const Candidate& candidate) {
        if (IsHeader(candidate)) {
            run_.startSector = candidate.startSector;
            const FoundFile file{candidate.startSector, 0};
            sink->ReportFound(&file);
        }
    });
}

bool KBckFileType::IsHeader(const Candidate& candidate) {
    if (candidate.sector.size() < MinSectorBytes) {
        return false;
    }
    const auto firstCount = LoadLittle<std::uint32_t>(candidate.sector, 0);
    if (firstCount == 0 || firstCount > 255) {
        return false;
    }
    const std::size_t countOffset = FirstText + firstCount + GapBytes;
    const auto secondCount = LoadLittle<std::uint32_t>(candidate.sector, countOffset);
    // The sum wraps at 32 bits. The text may end four bytes past a sector of the smallest size.
    const std::uint32_t suffixOffset = static_cast<std::uint32_t>(countOffset) + secondCount;
    const ByteSpan bytes = candidate.RestOfBlock();
    const std::size_t secondText = countOffset + CountBytes;
    if (suffixOffset > MinSectorBytes || bytes.size() < secondText || bytes.size() - secondText < secondCount) {
        return false;
    }
    return std::ranges::all_of(bytes.subspan(FirstText, firstCount), IsPrintable) &&
           std::ranges::all_of(bytes.subspan(secondText, secondCount), IsPrintable) &&
           CompareBytesNoCase(bytes.data() + suffixOffset, Suffix.data(), Suffix.size()) == 0;
}
