#pragma once

#include "images/KTIFileType.h"

/// TIFF images: all TIFF files that no camera raw type takes.
class KTifFileType final : public TiffKind<KTifFileType, FileTypeIndex::Tiff, KTIFileType::Tif> {
public:
};
