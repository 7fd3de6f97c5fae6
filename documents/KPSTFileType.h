#pragma once

#include <algorithm>
#include <cstddef>
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

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        // Where the file's end is, in files with 32-bit and with 64-bit offsets (of those, the lower half is read).
        // Either kind has a small number where the other has its end.
        constexpr std::size_t shortEnd = 168;
        constexpr std::size_t longEnd = 184;
        const auto endAt = [&](std::size_t offset) {
            return static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, offset));
        };
        const std::int32_t size = std::max(endAt(shortEnd), endAt(longEnd));
        return size != 0 ? std::optional<std::int64_t>(size) : std::nullopt;
    }
};
