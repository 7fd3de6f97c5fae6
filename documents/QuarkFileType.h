#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "formats/QuarkChains.h"
#include "frame/scan/WalkingScanner.h"

/// A scanner for the QuarkXPress files of one kind, up to the last block that one of their chains covers.
template <class Self, QuarkKind Kind>
class QuarkFileType : public WalkingScanner<Self> {
public:
    /// "XPR", after two zeros and the byte order.
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("XPR"), 4);
    static constexpr std::int64_t MinReportLength = 2048;
    static constexpr std::int64_t WalkLimit = 0x7FFFFFFF;

    static bool IsHeader(ByteSpan sector) { return QuarkKindOf(sector) == Kind; }
    static std::optional<std::int64_t> Walk(FileWindow& file) {
        const auto extent = FindQuarkExtent(file, std::numeric_limits<std::int64_t>::max());
        return extent ? std::optional(extent->size) : std::nullopt;
    }
};
