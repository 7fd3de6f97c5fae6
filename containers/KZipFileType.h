#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// ZIP archives in which no name tells a more special kind.
class KZipFileType final : public CapKeepingPackageType<KZipFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Zip];
    static constexpr std::int32_t Kinds[] = {ZipKind::Plain};
};
