#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/BudgetedTrail.h"
#include "frame/memory/Gap.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/read/KFileSimulator.h"
#include "frame/read/SharedReader.h"
#include "frame/scan/SectorScan.h"

/// What a walk keeps of the marker segments behind it.
struct JpegFacts {
    /// A baseline frame or a scan header comes last.
    bool leadsToImageData = false;

    void Append(const JpegFacts& behind) { leadsToImageData = leadsToImageData || behind.leadsToImageData; }
};

/// Finds the ends of JPEGs. It remembers where earlier marker segments led and where no end marker is, so that many
/// headers before one long chain of segments, or before a long stretch without an end, cost little more than one.
class JpegEndSearch : public BudgetedTrail<JpegFacts> {
public:
    /// Forgets what is known of the medium.
    void Reset() {
        BudgetedTrail::Reset();
        offsets_.Reset();
        reader_.Reset();
    }

    void EnterBlock(const SectorBlock& block) {
        BudgetedTrail::EnterBlock(block);
        reader_.EnterBlock(block);
        if (!offsets_.Enter(block)) {
            gap_.Forget();
        }
    }

    /// Length in bytes of the JPEG that starts at the candidate, up to and including its end-of-image marker; nothing
    /// if the marker chain breaks or no end lies within 64 MiB.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate);

private:
    using Stretch = Trail<JpegFacts>::Stretch;

    static Stretch SegmentAt(KFileSimulator& reader, std::int64_t offset);
    class Chunks;
    Gap::Step NextMarker(Chunks& chunks, std::int64_t base, std::int64_t at) const;
    std::optional<std::int64_t> SearchEndMarker(const Candidate& candidate, std::int64_t from);

    SharedReader reader_;
    // Turns sectors into the places that the gap uses.
    ScanOffsets offsets_;
    // Where no end marker begins, not even one that a chunk's end hides.
    Gap gap_;
};
