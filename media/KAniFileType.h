#pragma once

#include <cstdint>
#include <optional>

#include "media/RiffScanner.h"

/// Animated cursors. Source: Multimedia Data Standards Update 1994, "Animated Cursors".
class KAniFileType final : public RiffScanner<KAniFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Ani];
    static constexpr Pattern<4> Signature = RiffSignature;
    static constexpr auto FormType = PatternOf("ACONanih");

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        return static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset));
    }
};
