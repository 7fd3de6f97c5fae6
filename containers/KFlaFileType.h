#pragma once

#include "containers/KCompoundFileType.h"

/// Flash sources: no stream decides, and the root has their class identifier.
class KFlaFileType final : public CompoundDocument<KFlaFileType, 85, KCompoundFileType::Flash> {
public:
    static constexpr FormatNotes Notes{
        .source = CompoundNotes::Source,
        .found = "Flash sources in compound files, known by the class identifier of the root.",
        .end = CompoundNotes::End,
        .limits = CompoundNotes::Limits};
};
