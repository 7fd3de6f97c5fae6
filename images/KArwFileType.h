#pragma once

#include "images/KTIFileType.h"

/// Sony raws: the text "SONY" in the first 4096 bytes.
class KArwFileType final : public TiffKind<KArwFileType, FileTypeIndex::Arw, KTIFileType::Sony> {
public:
};
