#pragma once

#include "media/KASFFileType.h"

/// ASF files with video, or with audio alone. The latter are reported as WMA too.
class KWMVFileType final : public FamilyMember<KWMVFileType, KASFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Wmv];
    static constexpr std::int32_t Kinds[] = {KASFFileType::Video, KASFFileType::Audio};
};
