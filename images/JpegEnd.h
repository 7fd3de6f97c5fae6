#pragma once

#include <cstdint>
#include <optional>

#include "frame/KFileSimulator.h"
#include "frame/SectorScan.h"

/// Finds the ends of the JPEGs of one block. It remembers where the search of earlier candidates of the block met no
/// end marker, so that many headers in front of a long stretch without one cost a single search; use one object a
/// block.
class JpegEndSearch {
public:
    /// Length in bytes of the JPEG that starts at the candidate, up to and including its end-of-image marker; nothing
    /// if the marker chain breaks or no end lies within 64 MiB.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate);

private:
    std::optional<std::int64_t> SearchEndMarker(KFileSimulator& reader, const Candidate& candidate);

    // No end marker begins at these bytes, counted from the start of the block.
    struct FreeStretch {
        std::int64_t from = 0;
        std::int64_t to = 0;
    };
    void Remember(const FreeStretch& stretch, std::int64_t candidateStart);

    FreeStretch free_;
};
