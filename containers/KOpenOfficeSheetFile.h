#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// OpenDocument spreadsheets.
class KOpenOfficeSheetFile final : public PackageFileType<KOpenOfficeSheetFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[10];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "OpenDocument and OpenOffice.org 1 spreadsheets.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Sheet};
};
