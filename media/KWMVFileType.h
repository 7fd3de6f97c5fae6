#pragma once

#include "media/KASFFileType.h"

/// ASF files with video, or with audio alone: those are reported as audio files too.
class KWMVFileType final : public FamilyMember<KWMVFileType, KASFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[16];
    static constexpr FormatNotes Notes{
        .source = AsfNotes::Source,
        .found = "ASF files with video streams, and those with audio alone, which are reported as audio files too.",
        .end = AsfNotes::End,
        .limits = AsfNotes::Limits};
    static constexpr std::int32_t Kinds[] = {KASFFileType::Video, KASFFileType::Audio};
};
