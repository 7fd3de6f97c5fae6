#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "frame/memory/Gap.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/read/Budget.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

/// Finds the ends of JPEGs. It remembers where the marker segments of earlier candidates led, and where no end marker
/// stands: many headers in front of a long chain of segments, or of a long stretch without an end, cost little more
/// than one.
class JpegEndSearch {
public:
    /// Forgets what is known of the medium.
    void Reset() {
        row_.Reset();
        budget_.Reset();
    }

    void EnterBlock(const SectorBlock& block);

    /// Length in bytes of the JPEG that starts at the candidate, up to and including its end-of-image marker; nothing
    /// if the marker chain breaks or no end lies within 64 MiB.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate);

private:
    // Places are those of the row.
    ScanOffsets row_;

    // A walk that comes to stand at `from` comes to stand at `to`.
    struct Link {
        std::int64_t from = -1;
        std::int64_t to = -1;
    };
    bool WalkToImageData(KFileSimulator& reader, std::int64_t base);
    Link* FollowLink(KFileSimulator& reader, std::int64_t base, Link* current);

    std::optional<std::int64_t> SearchEndMarker(KFileSimulator& reader, std::int64_t base);

    // Every read of the candidate succeeds, so what others have shown holds for it too.
    bool mayReuse_ = false;
    Budget budget_;
    // Of end markers, at any place.
    Gap gap_;
    // One link a window of the medium: from the place where a walk came into the window.
    static constexpr std::int64_t WindowBytes = 0x4000;
    static constexpr std::int64_t WindowCount = 0x1000;
    std::array<Link, WindowCount> links_;
    bool linksCleared_ = false;
};
