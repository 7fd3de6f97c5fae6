#pragma once

#include "images/KTIFileType.h"

/// Kodak raws: a file name that ends in ".DCR" in the first 4096 bytes.
class KDcrFileType final : public TiffKind<KDcrFileType, FileTypeIndex::Dcr, KTIFileType::Dcr> {
public:
};
