#pragma once

#include "images/StartOnlyFileType.h"

/// Rollei raws.
class KRDCFileType final : public StartOnlyFileType<KRDCFileType, 58> {
public:
    static constexpr FormatNotes Notes{.source = StartOnlyNotes::Source,
                                       .found = "Pictures of Rollei cameras.",
                                       .end = StartOnlyNotes::End,
                                       .limits = ""};
    static constexpr auto Mark = PatternOf("DSC-Image");
};
