#pragma once

#include "images/KTIFileType.h"

/// Nikon raws: "NIKON" in the first 4096 bytes.
class KNefFileType final : public TiffKind<KNefFileType, FileTypeIndex::Nef, KTIFileType::Nef> {
public:
};
