#pragma once

#include <cstdint>

#include "images/JpegFileType.h"

/// JPEG images whose first segment is a JFIF or a Photoshop application segment.
class KJPGFileType final : public JpegFileType<KJPGFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::JpegGraphics];

    std::int32_t IsHeaderSector(const std::uint8_t* sector, std::int32_t length, std::int32_t* /*unused*/) override {
        return OpensWithSegment(sector, length, PatternOf("JFIF"), PatternOf("Photoshop")) ? 1 : 0;
    }
};
