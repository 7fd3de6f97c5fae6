#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// OpenDocument drawings.
class KOpenOfficeDrawingFile final : public PackageFileType<KOpenOfficeDrawingFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[12];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "OpenDocument and OpenOffice.org 1 drawings.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Drawing};
};
