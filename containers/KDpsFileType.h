#pragma once

#include "containers/KCompoundFileType.h"

/// Kingsoft presentations, which name their streams as PowerPoint presentations do: every presentation is reported
/// as both.
class KDpsFileType final : public CompoundDocument<KDpsFileType, 84, KCompoundFileType::Slides> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Every presentation that is reported as a PowerPoint document.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};
