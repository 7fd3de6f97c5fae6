#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Outlook's personal folders. Source: [MS-PST], sections 2.2.2.5 and 2.2.2.6.
class KPSTFileType final : public MeasuringScanner<KPSTFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pst];
    static constexpr auto Signature = PatternOf("!BDN");
    static constexpr std::size_t MinSectorBytes = 192;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
