#pragma once

#include "images/KTIFileType.h"

/// Sony raws: the text "SONY" in the first 4096 bytes.
class KArwFileType final : public TiffKind<KArwFileType, 106, KTIFileType::Sony> {
public:
    static constexpr FormatNotes Notes{
        .source = TiffRawNotes::Source,
        .found = "Sony raws: TIFF files with the text \"SONY\" in the first 4096 bytes. Each is found as srf too.",
        .end = TiffRawNotes::End,
        .limits = TiffRawNotes::Limits};
};
