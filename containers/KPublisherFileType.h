#pragma once

#include "containers/KCompoundFileType.h"

/// Publisher documents: a stream "Contents", a class name and both summaries.
class KPublisherFileType final : public CompoundDocument<KPublisherFileType, 5, KCompoundFileType::Publisher> {
public:
    static constexpr FormatNotes Notes{
        .source = CompoundNotes::Source,
        .found = "Publisher documents with a stream of contents and both summary streams.",
        .end = CompoundNotes::End,
        .limits = CompoundNotes::Limits};
};
