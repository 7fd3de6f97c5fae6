#pragma once

#include "containers/KCompoundFileType.h"

/// Word documents: a stream "WordDocument" and both summaries.
class KWordFileType final : public CompoundDocument<KWordFileType, 0, KCompoundFileType::Word> {
public:
    static constexpr FormatNotes Notes{
        .source = CompoundNotes::Source,
        .found = "Word 97 to 2003 and other writers of its streams, with both summary streams.",
        .end = CompoundNotes::End,
        .limits = CompoundNotes::Limits};
};
