#pragma once

#include <cstdint>

#include "containers/ZipFormat.h"
#include "containers/kZipOfficeSearcher.h"

/// Office Open XML presentations.
class KPowerPoint2007FileType final : public PackageFileType<KPowerPoint2007FileType, kZipOfficeSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pptx];
    static constexpr std::int32_t Kinds[] = {ZipKind::PowerPoint};
};
