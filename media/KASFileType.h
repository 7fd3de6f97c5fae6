#pragma once

#include "media/KASFFileType.h"

/// All ASF files, whatever streams they hold.
class KASFileType final : public FamilyMember<KASFileType, KASFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Asf];
    static constexpr std::int32_t Kinds[] = {KASFFileType::Other, KASFFileType::Audio, KASFFileType::Video};
};
