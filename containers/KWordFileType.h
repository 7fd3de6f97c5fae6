#pragma once

#include "containers/KCompoundFileType.h"

/// Word documents: a stream "WordDocument" and both summaries.
class KWordFileType final : public CompoundDocument<KWordFileType, 0, KCompoundFileType::Word> {};
