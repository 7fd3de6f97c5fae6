#pragma once

#include <cstdint>

#include "containers/PackageFileType.h"
#include "containers/kZipOfficeSearcher.h"

/// Office Open XML presentations.
class KPowerPoint2007FileType final : public PackageFileType<KPowerPoint2007FileType, kZipOfficeSearcher> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[8];
    static constexpr FormatNotes Notes{.source = ZipNotes::Source,
                                       .found = "Presentations in Office Open XML packages.",
                                       .end = ZipNotes::WalkEnd,
                                       .limits = ZipNotes::WalkLimits};
    static constexpr std::int32_t Kinds[] = {ZipKind::PowerPoint};
};
