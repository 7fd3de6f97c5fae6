#pragma once

#include "images/KTIFileType.h"

/// Digital negatives: the first directory has the DNG version.
class KDngFileType final : public TiffKind<KDngFileType, 81, KTIFileType::Dng> {
public:
    static constexpr FormatNotes Notes{
        .source = "Adobe, Digital Negative (DNG) Specification; Adobe, TIFF Revision 6.0",
        .found = "Digital negatives of all makers: TIFF files whose first directory has the DNG version.",
        .end = TiffRawNotes::End,
        .limits = TiffRawNotes::DirectoryLimits};
};
