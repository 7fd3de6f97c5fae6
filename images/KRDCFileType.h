#pragma once

#include "images/StartOnlyFileType.h"

/// Rollei raws.
class KRDCFileType final : public StartOnlyFileType<KRDCFileType, FileTypeIndex::Rdc> {
public:
    static constexpr auto Mark = PatternOf("DSC-Image");
};
