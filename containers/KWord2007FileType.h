#pragma once

#include <cstdint>

#include "containers/ZipFormat.h"
#include "containers/kZipOfficeSearcher.h"

/// Office Open XML word-processing documents.
class KWord2007FileType final : public PackageFileType<KWord2007FileType, kZipOfficeSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Docx];
    static constexpr std::int32_t Kinds[] = {ZipKind::Word};
};
