#include "images/KJPGFileType.h"

std::int32_t KJPGFileType::IsHeaderSector(const std::uint8_t* sector, std::int32_t length, std::int32_t* /*unused*/) {
    return OpensWithSegment(sector, length, PatternOf("JFIF"), PatternOf("Photoshop")) ? 1 : 0;
}
