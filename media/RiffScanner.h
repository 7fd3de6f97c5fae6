#pragma once

#include <cstddef>
#include <cstdint>

#include "formats/Riff.h"
#include "frame/scan/MeasuringScanner.h"

/// A scanner for files that are one RIFF form, or a few in a row.
///
/// `Self` has `Identity`, `Signature` and `Measure`, as for `MeasuringScanner`, and `FormType`, which may include the
/// name of the first chunk.
template <class Self>
class RiffScanner : public MeasuringScanner<Self> {
public:
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector) { return HasPatternAt(sector, RiffFormOffset, Self::FormType); }
};
