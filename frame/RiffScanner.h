#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/Bytes.h"
#include "frame/MeasuringScanner.h"

/// Where a RIFF file, or one of the other forms of chunks in its shape, has the size of what follows it.
inline constexpr std::size_t RiffSizeOffset = 4;
/// Bytes in front of what that size counts.
inline constexpr std::int64_t RiffHeaderBytes = 8;
inline constexpr auto RiffSignature = PatternOf("RIFF");

/// True if a sector begins with a form's signature and, behind the size, its type; `N` bytes of type may take in the
/// name of the first chunk.
template <std::size_t N>
bool IsRiffForm(ByteSpan sector, const Pattern<4>& signature, const Pattern<N>& type) {
    return StartsWith(sector, signature) && HasPatternAt(sector, RiffSizeOffset + sizeof(std::uint32_t), type);
}

/// A scanner for files that are one RIFF form, or a few, from its header's sector on.
///
/// `Self` says `Identity`, `Signature`, `FormType` and `Measure` as in `MeasuringScanner`.
template <class Self>
class RiffScanner : public MeasuringScanner<Self> {
public:
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector) {
        constexpr std::size_t minSectorBytes = 17;
        return sector.size() >= minSectorBytes && IsRiffForm(sector, Self::Signature, Self::FormType);
    }
};
