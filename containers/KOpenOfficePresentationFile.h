#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// OpenDocument presentations.
class KOpenOfficePresentationFile final : public PackageFileType<KOpenOfficePresentationFile, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[11];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "OpenDocument and OpenOffice.org 1 presentations.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Presentation};
};
