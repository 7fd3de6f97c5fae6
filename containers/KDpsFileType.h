#pragma once

#include "containers/KCompoundFileType.h"

/// Kingsoft presentations, which name their streams as PowerPoint presentations do: every presentation is reported
/// as both.
class KDpsFileType final : public CompoundDocument<KDpsFileType, FileTypeIndex::Dps, KCompoundFileType::Slides> {
public:
};
