#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Outlook Express message folders. Known by their class identifier and the length field of their header.
class KDBXFileType final : public MeasuringScanner<KDBXFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Dbx];
    static constexpr auto Signature = PatternOf("\xCF\xAD\x12\xFE\xC5\xFD\x74\x6F\x66\xE3\xD1\x11\x9A\x4E\x00\xC0");
    static constexpr std::size_t MinSectorBytes = 128;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        constexpr std::size_t lastSegment = 124;
        constexpr std::uint32_t bytesAfter = 4096;
        // A 32-bit sum: 2 GiB and more turn negative, which is no size.
        const auto size =
            static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, lastSegment) + bytesAfter);
        return size != 0 ? std::optional<std::int64_t>(size) : std::nullopt;
    }
};
