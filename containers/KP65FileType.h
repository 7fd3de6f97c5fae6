#pragma once

#include "containers/KCompoundFileType.h"

/// PageMaker publications: a stream "PageMaker".
class KP65FileType final : public CompoundDocument<KP65FileType, FileTypeIndex::P65, KCompoundFileType::PageMaker> {
public:
};
