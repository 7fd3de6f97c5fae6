#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// OpenDocument drawings.
class KOpenOfficeDrawingFile final : public PackageFileType<KOpenOfficeDrawingFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Odg];
    static constexpr std::int32_t Kinds[] = {ZipKind::Drawing};
};
