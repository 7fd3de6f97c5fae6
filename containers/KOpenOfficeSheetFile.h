#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// OpenDocument spreadsheets.
class KOpenOfficeSheetFile final : public PackageFileType<KOpenOfficeSheetFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Ods];
    static constexpr std::int32_t Kinds[] = {ZipKind::Sheet};
};
