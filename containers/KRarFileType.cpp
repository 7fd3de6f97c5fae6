#include "containers/KRarFileType.h"

#include "frame/ByteMark.h"

namespace {

// The marker block, and the low byte of the main header's CRC.
constexpr auto Signature = PatternOf("Rar!\x1A\x07\0\xCF");
// The end-of-archive block: CRC 3DC4, type 7B, flags 4000, size 7.
constexpr auto EndBytes = PatternOf("\xC4\x3D\x7B\0\x40\x07\0");
constexpr ByteMark EndMark{EndBytes};

}  // namespace

bool KRarFileType::IsHeader(ByteSpan sector) {
    return sector.size() > Signature.size() && StartsWith(sector, Signature);
}

std::optional<std::size_t> KRarFileType::FindEnd(ByteSpan sector) { return EndMark.FindEndInSector(sector); }
