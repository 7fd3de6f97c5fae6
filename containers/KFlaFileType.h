#pragma once

#include "containers/KCompoundFileType.h"

/// Flash sources: no stream identifies another type, and the root has Flash's class identifier.
class KFlaFileType final : public CompoundDocument<KFlaFileType, FileTypeIndex::Fla, KCompoundFileType::Flash> {
public:
};
