#pragma once

#include "containers/KCompoundFileType.h"

/// Kingsoft presentations. Their streams have the same names as PowerPoint's, so every presentation is reported as
/// both.
class KDpsFileType final : public CompoundDocument<KDpsFileType, FileTypeIndex::Dps, KCompoundFileType::Slides> {
public:
};
