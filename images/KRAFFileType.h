#pragma once

#include "images/StartOnlyFileType.h"

/// Fujifilm raws.
class KRAFFileType final : public StartOnlyFileType<KRAFFileType, FileTypeIndex::Raf> {
public:
    static constexpr auto Mark = PatternOf("FUJIFILM");
};
