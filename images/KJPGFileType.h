#pragma once

#include <cstdint>

#include "images/JpegFileType.h"

/// JPEG images whose first segment is a JFIF or a Photoshop application segment.
class KJPGFileType final : public JpegFileType<KJPGFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[42];
    static constexpr FormatNotes Notes{.source = "ITU-T T.81, annex B; ITU-T T.871 (JFIF)",
                                       .found = "Images whose first segment is a JFIF or a Photoshop segment.",
                                       .end = JpegNotes::End,
                                       .limits = JpegNotes::Limits};

    std::int32_t IsHeaderSector(const std::uint8_t* sector, std::int32_t length, std::int32_t* unused) override;
};
