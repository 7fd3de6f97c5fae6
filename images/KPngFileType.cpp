#include "images/KPngFileType.h"

#include "frame/bytes/BytePattern.h"

namespace {

// The chunk type and its CRC, which has no data to vary with: the last 8 bytes of every file.
constexpr BytePattern EndMark = BytePatternOf<"IEND\xAE\x42\x60\x82">();

}  // namespace

std::optional<std::size_t> KPngFileType::FindEnd(ByteSpan sector) { return EndMark.FindEndInSector(sector); }
