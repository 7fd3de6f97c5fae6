#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/BytePattern.h"
#include "frame/scan/MeasuringScanner.h"

namespace ebml {

/// Length in bytes of the file that opens with this sector, as its Segment declares it; nothing unless the sector holds
/// the document type and, after it, the start of a Segment with a size of 8 bytes.
std::optional<std::int64_t> FileSize(ByteSpan sector, const BytePattern& docType);

}  // namespace ebml

/// What the EBML types share: everything but `Self::DocType`, the element that names the document type.
template <class Self>
class EbmlFileType : public MeasuringScanner<Self> {
public:
    /// The EBML header's identifier.
    static constexpr auto Signature = PatternOf("\x1A\x45\xDF\xA3");
    static constexpr std::size_t MinSectorBytes = 512;
    static constexpr std::int64_t MinReportLength = 4096;

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        return ebml::FileSize(candidate.sector, BytePattern{Self::DocType});
    }
};
