#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/ZipFormat.h"

/// OpenDocument presentations.
class KOpenOfficePresentationFile final : public PackageFileType<KOpenOfficePresentationFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Odp];
    static constexpr std::int32_t Kinds[] = {ZipKind::Presentation};
};
