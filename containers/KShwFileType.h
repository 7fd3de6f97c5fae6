#pragma once

#include "containers/KCompoundFileType.h"

/// Corel Presentations slide shows: a stream "SlideShow" beside the office suite's own.
class KShwFileType final : public CompoundDocument<KShwFileType, 103, KCompoundFileType::SlideShow> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Corel Presentations slide shows, known by two streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};
