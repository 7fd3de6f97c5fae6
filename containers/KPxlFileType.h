#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// Pocket Excel packages.
class KPxlFileType final : public PackageFileType<KPxlFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pxl];
    static constexpr std::int32_t Kinds[] = {ZipKind::PocketExcel};
};
