#pragma once

#include "media/KASFFileType.h"

/// ASF files with audio and no video.
class KWMAFileType final : public FamilyMember<KWMAFileType, KASFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[15];
    static constexpr FormatNotes Notes{.source = AsfNotes::Source,
                                       .found = "ASF files with audio streams and no video.",
                                       .end = AsfNotes::End,
                                       .limits = AsfNotes::Limits};
    static constexpr std::int32_t Kinds[] = {KASFFileType::Audio};
};
