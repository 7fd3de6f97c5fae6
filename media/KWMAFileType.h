#pragma once

#include "media/KASFFileType.h"

/// ASF files with audio and no video.
class KWMAFileType final : public FamilyMember<KWMAFileType, KASFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Wma];
    static constexpr std::int32_t Kinds[] = {KASFFileType::Audio};
};
