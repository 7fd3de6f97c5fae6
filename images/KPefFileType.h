#pragma once

#include "images/KTIFileType.h"

/// Pentax raws: "PENTAX" in the first 4096 bytes.
class KPefFileType final : public TiffKind<KPefFileType, FileTypeIndex::Pef, KTIFileType::Pef> {
public:
};
