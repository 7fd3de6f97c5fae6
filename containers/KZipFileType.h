#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// ZIP archives in which no name indicates a more specific kind.
class KZipFileType final : public CapKeepingPackageType<KZipFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Zip];
    static constexpr std::int32_t Kinds[] = {ZipKind::Plain};
};
