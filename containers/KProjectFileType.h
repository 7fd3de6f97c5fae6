#pragma once

#include "containers/KCompoundFileType.h"

/// Project plans: a stream "Props9" or "Props", a class name and both summaries.
class KProjectFileType final : public CompoundDocument<KProjectFileType, 4, KCompoundFileType::Project> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Project 98 to 2010 plans, with both summary streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};
