#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// Database documents of the office suites that write OpenDocument.
class KOpenOfficeDataBaseFile final : public PackageFileType<KOpenOfficeDataBaseFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Odb];
    static constexpr std::int32_t Kinds[] = {ZipKind::DataBase};
};
