#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Minolta raws: a block "MRM" of metadata, which begins with the block "PRD" of picture dimensions, and then the
/// pixels. All numbers are big-endian.
class KMRWFileType final : public MeasuringScanner<KMRWFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mrw];
    static constexpr auto Signature = PatternOf("\0MRM");
    static constexpr std::size_t MinSectorBytes = 34;
    static constexpr std::int64_t MinReportLength = 0;

    static bool IsHeader(ByteSpan sector);
    /// Negative if the header gives no size.
    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
