#include "containers/KRarFileType.h"

#include "frame/bytes/BytePattern.h"

namespace {

// The end-of-archive block: CRC 3DC4, type 7B, flags 4000, size 7.
constexpr BytePattern EndMark = BytePatternOf<"\xC4\x3D\x7B\0\x40\x07\0">();

}  // namespace

std::optional<std::size_t> KRarFileType::FindEnd(ByteSpan sector) { return EndMark.FindEndInSector(sector); }
