#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// ZIP archives in which no name tells a more special kind.
class KZipFileType final : public CapKeepingPackageType<KZipFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[67];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "Archives in which no member name tells a more special kind.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Plain};
};
