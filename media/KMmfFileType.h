#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Yamaha's ringtones, whose outermost chunk is the whole file. Source: SMAF specification, file chunk.
class KMmfFileType final : public MeasuringScanner<KMmfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mmf];
    static constexpr auto Signature = PatternOf("MMMD");
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector) {
        constexpr std::size_t firstChunk = 8;
        return HasPatternAt(sector, firstChunk, PatternOf("CNTI"));
    }
    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        // Counts what follows the chunk's 8-byte header. Signed, so 2 GiB and more are rejected.
        constexpr std::size_t chunkSize = 4;
        return static_cast<std::int32_t>(LoadBig<std::uint32_t>(candidate.sector, chunkSize) + 8);
    }
};
