#pragma once

#include "images/KTIFileType.h"

/// Sony raws, the same files as those of KArwFileType.
class KSr2FileType final : public TiffKind<KSr2FileType, FileTypeIndex::Srf, KTIFileType::Sony> {
public:
};
