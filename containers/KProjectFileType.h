#pragma once

#include "containers/KCompoundFileType.h"

/// Project plans: a stream "Props9" or "Props", a class name and both summaries.
class KProjectFileType final
    : public CompoundDocument<KProjectFileType, FileTypeIndex::Mpp, KCompoundFileType::Project> {
public:
};
