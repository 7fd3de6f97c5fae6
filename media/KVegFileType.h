#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Vegas projects, whose outermost chunk is the whole file. Source: Sony Wave64 format, the riff chunk.
class KVegFileType final : public MeasuringScanner<KVegFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Veg];
    /// The first half of the identifier of the riff chunk.
    static constexpr auto Signature = PatternOf("riff\x2E\x91\xCF\x11");
    static constexpr std::size_t MinSectorBytes = 33;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        // The lower half of the chunk's size, signed.
        constexpr std::size_t chunkSize = 16;
        return static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, chunkSize));
    }
};
