#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Cabinet archives, whose header holds their size. Source: [MS-CAB], section 2.1.
class KCabFileType final : public MeasuringScanner<KCabFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Cab];
    static constexpr auto Signature = PatternOf("MSCF");
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        constexpr std::size_t cabinetSize = 8;
        // Signed: 2 GiB and more are no size.
        const auto size = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, cabinetSize));
        return size != 0 ? std::optional<std::int64_t>(size) : std::nullopt;
    }
};
