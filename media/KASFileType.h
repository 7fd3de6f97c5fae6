#pragma once

#include "media/KASFFileType.h"

/// All ASF files, whatever streams they hold.
class KASFileType final : public FamilyMember<KASFileType, KASFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[14];
    static constexpr FormatNotes Notes{.source = AsfNotes::Source,
                                       .found = "All ASF files, whatever streams they hold.",
                                       .end = AsfNotes::End,
                                       .limits = AsfNotes::Limits};
    static constexpr std::int32_t Kinds[] = {KASFFileType::Other, KASFFileType::Audio, KASFFileType::Video};
};
