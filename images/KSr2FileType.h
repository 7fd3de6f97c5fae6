#pragma once

#include "images/KTIFileType.h"

/// Sony raws, the same files as those of KArwFileType.
class KSr2FileType final : public TiffKind<KSr2FileType, 59, KTIFileType::Sony> {
public:
    static constexpr FormatNotes Notes{
        .source = TiffRawNotes::Source,
        .found = "Sony raws: TIFF files with the text \"SONY\" in the first 4096 bytes. Each is found as arw too.",
        .end = TiffRawNotes::End,
        .limits = TiffRawNotes::Limits};
};
