#pragma once

#include "images/StartOnlyFileType.h"

/// Fujifilm raws.
class KRAFFileType final : public StartOnlyFileType<KRAFFileType, 57> {
public:
    static constexpr FormatNotes Notes{.source = StartOnlyNotes::Source,
                                       .found = "Raws of all Fujifilm cameras.",
                                       .end = StartOnlyNotes::End,
                                       .limits = ""};
    static constexpr auto Mark = PatternOf("FUJIFILM");
};
