#pragma once

#include "images/KTIFileType.h"

/// Kodak raws: a file name that ends in ".DCR" in the first 4096 bytes.
class KDcrFileType final : public TiffKind<KDcrFileType, 52, KTIFileType::Dcr> {
public:
    static constexpr FormatNotes Notes{
        .source = TiffRawNotes::Source,
        .found = "Kodak raws: TIFF files with a name that ends in \".DCR\" in the first 4096 bytes.",
        .end = TiffRawNotes::End,
        .limits = TiffRawNotes::Limits};
};
