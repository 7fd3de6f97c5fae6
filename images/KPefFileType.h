#pragma once

#include "images/KTIFileType.h"

/// Pentax raws: "PENTAX" in the first 4096 bytes.
class KPefFileType final : public TiffKind<KPefFileType, 56, KTIFileType::Pef> {
public:
    static constexpr FormatNotes Notes{.source = TiffRawNotes::Source,
                                       .found = "Pentax raws: TIFF files with \"PENTAX\" in the first 4096 bytes.",
                                       .end = TiffRawNotes::End,
                                       .limits = TiffRawNotes::Limits};
};
