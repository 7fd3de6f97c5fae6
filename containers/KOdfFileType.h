#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// OpenDocument formulas.
class KOdfFileType final : public CapKeepingPackageType<KOdfFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Odf];
    static constexpr std::int32_t Kinds[] = {ZipKind::Formula};
};
