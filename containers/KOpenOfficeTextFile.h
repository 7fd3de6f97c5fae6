#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// OpenDocument texts.
class KOpenOfficeTextFile final : public PackageFileType<KOpenOfficeTextFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[9];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "OpenDocument and OpenOffice.org 1 texts.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Text};
};
