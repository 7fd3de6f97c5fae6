#pragma once

#include <cstdint>

#include "images/JpegFileType.h"

/// JPEG images whose first segment is an Exif application segment, as cameras write them. Source: CIPA DC-008 (Exif),
/// section 4.5.
class KExifJpgFileType final : public JpegFileType<KExifJpgFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::JpegCamera];

    std::int32_t IsHeaderSector(const std::uint8_t* sector, std::int32_t length, std::int32_t* /*unused*/) override {
        return OpensWithSegment(sector, length, PatternOf("Exif")) ? 1 : 0;
    }
};
