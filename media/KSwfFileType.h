#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Flash movies. Source: SWF File Format Specification 19, chapter 2.
class KSwfFileType final : public MeasuringScanner<KSwfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Swf];
    static constexpr auto Plain = PatternOf("FWS");
    static constexpr auto Compressed = PatternOf("CWS");
    static constexpr SectorFilter Filter = SectorFilterOf(Plain).Common(SectorFilterOf(Compressed));
    static constexpr std::size_t MinSectorBytes = 9;
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector) {
        if (!StartsWith(sector, Plain) && !StartsWith(sector, Compressed)) {
            return false;
        }
        const std::uint8_t version = sector[3];
        return (version >= 1 && version <= 9) || (version >= 16 && version <= 25);
    }
    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        constexpr std::size_t movieSize = 4;
        constexpr std::uint32_t sizeLimit = 0x40000000;
        const auto size = LoadLittle<std::uint32_t>(candidate.sector, movieSize);
        return size < sizeLimit ? std::optional<std::int64_t>(size) : std::nullopt;
    }
};
