#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// Java archives, known by the name of their manifest.
class KJarFileType final : public CapKeepingPackageType<KJarFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Jar];
    static constexpr std::int32_t Kinds[] = {ZipKind::Jar};
};
