#pragma once

#include <cstdint>

#include "containers/ZipFormat.h"
#include "containers/kZipOfficeSearcher.h"

/// Office Open XML spreadsheets.
class KExcel2007FileType final : public PackageFileType<KExcel2007FileType, kZipOfficeSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Xlsx];
    static constexpr std::int32_t Kinds[] = {ZipKind::Excel};
};
