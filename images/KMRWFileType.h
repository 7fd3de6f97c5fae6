#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Minolta raws: a block "MRM" of metadata, which begins with the block "PRD" of picture dimensions, and the pixels
/// behind it. All numbers are big-endian.
class KMRWFileType final : public MeasuringScanner<KMRWFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[53];
    static constexpr FormatNotes Notes{
        .source = "Known by its two leading blocks",
        .found = "Raws of Minolta and Konica Minolta cameras.",
        .end =
            "The metadata block's length plus that of the pixels, from the sensor's size and the bits per pixel; "
            "exact.",
        .limits = "A file of 2 GiB or more by its header is not found."};
    static constexpr auto Signature = PatternOf("\0MRM");
    static constexpr std::size_t MinSectorBytes = 34;
    static constexpr std::int64_t MinReportLength = 0;

    static bool IsHeader(ByteSpan sector);
    /// Negative where the header gives no size.
    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
