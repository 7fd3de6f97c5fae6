#pragma once

#include "containers/KCompoundFileType.h"

/// PowerPoint presentations: a stream "PowerPoint Document" or "PP40" and both summaries.
class KPowerPointFileType final
    : public CompoundDocument<KPowerPointFileType, FileTypeIndex::Ppt, KCompoundFileType::PowerPoint> {
public:
};
