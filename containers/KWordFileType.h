#pragma once

#include "containers/KCompoundFileType.h"

/// Word documents: a stream "WordDocument" and both summaries.
class KWordFileType final : public CompoundDocument<KWordFileType, FileTypeIndex::Doc, KCompoundFileType::Word> {
public:
};
