#pragma once

#include "containers/KCompoundFileType.h"

/// PowerPoint presentations: a stream "PowerPoint Document" or "PP40" and both summaries.
class KPowerPointFileType final : public CompoundDocument<KPowerPointFileType, 2, KCompoundFileType::PowerPoint> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "PowerPoint 95 to 2003, with both summary streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};
