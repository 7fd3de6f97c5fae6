#pragma once

#include "images/StartOnlyFileType.h"

/// Sigma raws of cameras with a Foveon sensor.
class KX3FFileType final : public StartOnlyFileType<KX3FFileType, FileTypeIndex::X3f> {
public:
    static constexpr auto Mark = PatternOf("FOVb");
};
