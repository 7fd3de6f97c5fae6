#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// Pocket Excel packages.
class KPxlFileType final : public PackageFileType<KPxlFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[98];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "Pocket Excel packages.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::PocketExcel};
};
