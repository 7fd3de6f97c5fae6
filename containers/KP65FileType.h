#pragma once

#include "containers/KCompoundFileType.h"

/// PageMaker publications: a stream "PageMaker".
class KP65FileType final : public CompoundDocument<KP65FileType, 97, KCompoundFileType::PageMaker> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "PageMaker publications, known by one stream.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};
