#pragma once

#include "images/KTIFileType.h"

/// TIFF images: all TIFF files that no camera raw type takes.
class KTifFileType final : public TiffKind<KTifFileType, 60, KTIFileType::Tif> {
public:
    static constexpr FormatNotes Notes{
        .source = TiffRawNotes::Source,
        .found = "TIFF images of both byte orders with any compression, also inside other files.",
        .end =
            "The end of the strip that the first directory names, with the offset and the length taken for single "
            "32-bit numbers. Exact where a single strip stands at the end.",
        .limits =
            "For several strips, tiles, several pages, or a directory behind the strip, the size is not the "
            "file's: it can even be 0 or negative. The first directory must lie within 20 MiB and have at most "
            "128 entries."};
};
