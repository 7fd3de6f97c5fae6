#pragma once

#include <cstdint>
#include <optional>

#include "media/RiffScanner.h"

/// AIFF audio whose first chunk describes it. Source: Audio Interchange File Format 1.3.
class KAifFileType final : public RiffScanner<KAifFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Aif];
    static constexpr Pattern<4> Signature = PatternOf("FORM");
    static constexpr auto FormType = PatternOf("AIFFCOMM");

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        return static_cast<std::int32_t>(LoadBig<std::uint32_t>(candidate.sector, RiffSizeOffset));
    }
};
