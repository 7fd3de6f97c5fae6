#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/Bytes.h"
#include "frame/MeasuringScanner.h"

/// Where a RIFF file, or one of the other forms of chunks in its shape, has the size of what follows it.
inline constexpr std::size_t RiffSizeOffset = 4;
/// Bytes in front of what that size counts.
inline constexpr std::int64_t RiffHeaderBytes = 8;
/// Where the form says its type.
inline constexpr std::size_t RiffFormOffset = 8;
inline constexpr auto RiffSignature = PatternOf("RIFF");

/// A scanner for files that are one RIFF form, or a few, from its header's sector on.
///
/// `Self` says `Identity`, `Signature` and `Measure`, as for `MeasuringScanner`, and `FormType`, which may take in the
/// name of the first chunk.
template <class Self>
class RiffScanner : public MeasuringScanner<Self> {
public:
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector) { return HasPatternAt(sector, RiffFormOffset, Self::FormType); }
};
