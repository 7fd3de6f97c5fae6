#include "images/KExifJpgFileType.h"

std::int32_t KExifJpgFileType::IsHeaderSector(const std::uint8_t* sector, std::int32_t length,
                                              std::int32_t* /*unused*/) {
    return OpensWithSegment(sector, length, PatternOf("Exif")) ? 1 : 0;
}
