#pragma once

#include "images/KTIFileType.h"

/// Nikon raws: "NIKON" in the first 4096 bytes.
class KNefFileType final : public TiffKind<KNefFileType, 54, KTIFileType::Nef> {
public:
    static constexpr FormatNotes Notes{.source = TiffRawNotes::Source,
                                       .found = "Nikon raws: TIFF files with \"NIKON\" in the first 4096 bytes.",
                                       .end = TiffRawNotes::End,
                                       .limits = TiffRawNotes::Limits};
};
