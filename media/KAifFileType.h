#pragma once

#include <cstdint>
#include <optional>

#include "media/RiffScanner.h"

/// AIFF audio whose first chunk describes it. Source: Audio Interchange File Format 1.3.
class KAifFileType final : public RiffScanner<KAifFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[78];
    static constexpr FormatNotes Notes{
        .source = "Audio Interchange File Format 1.3, \"The Form Chunk\"",
        .found = "AIFF audio that begins with its common chunk.",
        .end = "The header holds the size of what follows it; the size is reported without the 8 bytes in front.",
        .limits =
            "Compressed audio, which has another form type, is not found, nor is a file whose first chunk is "
            "another one."};
    static constexpr Pattern<4> Signature = PatternOf("FORM");
    static constexpr auto FormType = PatternOf("AIFFCOMM");

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        return static_cast<std::int32_t>(LoadBig<std::uint32_t>(candidate.sector, RiffSizeOffset));
    }
};
