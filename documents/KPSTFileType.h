#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Outlook's personal folders. Source: [MS-PST], sections 2.2.2.5 and 2.2.2.6.
class KPSTFileType final : public MeasuringScanner<KPSTFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[32];
    static constexpr FormatNotes Notes{.source = "[MS-PST], sections 2.2.2.5 and 2.2.2.6",
                                       .found = "Personal folders with 32-bit and 64-bit offsets.",
                                       .end = "The header holds the file's end; exact.",
                                       .limits = "Files of 2 GiB and more."};
    static constexpr auto Signature = PatternOf("!BDN");
    static constexpr std::size_t MinSectorBytes = 192;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
