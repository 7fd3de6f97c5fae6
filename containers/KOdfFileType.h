#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// OpenDocument formulas.
class KOdfFileType final : public CapKeepingPackageType<KOdfFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[93];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "OpenDocument formulas.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Formula};
};
