#pragma once

#include "images/StartOnlyFileType.h"

/// Sigma raws of cameras with a Foveon sensor.
class KX3FFileType final : public StartOnlyFileType<KX3FFileType, 61> {
public:
    static constexpr FormatNotes Notes{.source = StartOnlyNotes::Source,
                                       .found = "Raws of Sigma cameras with a Foveon sensor.",
                                       .end = StartOnlyNotes::End,
                                       .limits = ""};
    static constexpr auto Mark = PatternOf("FOVb");
};
