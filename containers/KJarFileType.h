#pragma once

#include <cstdint>

#include "containers/KZipFileSearcher.h"
#include "containers/PackageFileType.h"

/// Java archives, known by the name of their manifest.
class KJarFileType final : public CapKeepingPackageType<KJarFileType, KZipFileSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[94];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "Java archives, known by the name of their manifest.",
                                       .end = ZipNotes::StreamEnd,
                                       .limits = ZipNotes::StreamLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::Jar};
};
