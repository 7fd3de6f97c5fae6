#pragma once

#include "containers/KCompoundFileType.h"

/// Flash sources: no stream decides, and the root has their class identifier.
class KFlaFileType final : public CompoundDocument<KFlaFileType, FileTypeIndex::Fla, KCompoundFileType::Flash> {
public:
};
