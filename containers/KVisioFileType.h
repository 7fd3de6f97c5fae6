#pragma once

#include "containers/KCompoundFileType.h"

/// Visio drawings: streams "VisioDocument" and "VisioInformation" and both summaries.
class KVisioFileType final : public CompoundDocument<KVisioFileType, 3, KCompoundFileType::Visio> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Visio 5 to 2010 binary drawings, with both summary streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};
