#pragma once

#include <cstdint>
#include <optional>

#include "media/RiffScanner.h"

/// Waveform audio whose first chunk is its format. Source: Multimedia Programming Interface and Data Specifications
/// 1.0, "Waveform Audio File Format".
class KWavFileType final : public RiffScanner<KWavFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Wav];
    static constexpr Pattern<4> Signature = RiffSignature;
    static constexpr auto FormType = PatternOf("WAVEfmt ");

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        return static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset));
    }
};
