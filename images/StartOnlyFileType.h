#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// A type with a known start only: every sector that begins with `Self::Mark` is reported with size 0.
template <class Self, std::int32_t Index>
class StartOnlyFileType : public MeasuringScanner<Self> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[Index];
    static constexpr std::size_t MinSectorBytes = 8;
    static constexpr std::int64_t MinReportLength = 0;

    static bool IsHeader(ByteSpan sector) {
        return std::memcmp(sector.data(), Self::Mark.data(), std::min(MinSectorBytes, Self::Mark.size())) == 0;
    }
    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        // The mark may be longer than a sector.
        return StartsWith(candidate.RestOfBlock(), Self::Mark) ? 0 : NotReported;
    }

    /// The part of the mark that the filter looks at.
    static auto Filter() { return SectorFilterOf(Self::Mark); }

private:
    static constexpr std::int64_t NotReported = -1;
};
