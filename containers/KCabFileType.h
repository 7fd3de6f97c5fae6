#pragma once

#include <cstdint>
#include <optional>

#include "frame/MeasuringScanner.h"

/// Cabinet archives, whose header holds their size. Source: [MS-CAB], section 2.1.
class KCabFileType final : public MeasuringScanner<KCabFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[70];
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
