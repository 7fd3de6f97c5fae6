#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// OpenDocument texts.
class KOpenOfficeTextFile final : public PackageFileType<KOpenOfficeTextFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Odt];
    static constexpr std::int32_t Kinds[] = {ZipKind::Text};
};
