#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// Database documents of the office suites that write OpenDocument.
class KOpenOfficeDataBaseFile final : public PackageFileType<KOpenOfficeDataBaseFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[13];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "OpenOffice.org databases under the older of their two media types.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::DataBase};
};
