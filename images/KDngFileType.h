#pragma once

#include "images/KTIFileType.h"

/// Digital negatives: the first directory has the DNG version.
class KDngFileType final : public TiffKind<KDngFileType, FileTypeIndex::Dng, KTIFileType::Dng> {
public:
};
