#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Sun and NeXT sound files. Source: the header file of the format, audio_filehdr.h.
class KSndFileType final : public MeasuringScanner<KSndFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Au];
    static constexpr auto Signature = PatternOf(".snd");
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        constexpr std::size_t dataOffset = 4;
        constexpr std::size_t dataSize = 8;
        constexpr std::int32_t longestHeader = 999;
        const auto offset = LoadBig<std::uint32_t>(candidate.sector, dataOffset);
        if (static_cast<std::int32_t>(offset) > longestHeader) {
            return std::nullopt;
        }
        // The sum wraps at 32 bits, also for FFFFFFFFh, which means an unknown size.
        return static_cast<std::int32_t>(offset + LoadBig<std::uint32_t>(candidate.sector, dataSize));
    }
};
