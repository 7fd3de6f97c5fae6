#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/scan/segment_plan.h"
#include "host/scan/segment_store.h"

namespace salvor {

/// A scan in worker processes.
struct SegmentRunOptions {
    ScanRequest request;
    /// For workers that open the image themselves.
    ImageSpec image;
    /// The blocks to scan.
    BlockRange blocks;
    std::int64_t segmentBlocks = 1;
    int workers = 1;
    bool quiet = false;
    /// Receives what the joined segments of the whole scan have seen, in order, piece by piece; unreadable sectors are
    /// noted in the medium instead. All blocks must have been scanned or be among those to scan. If empty, nothing is
    /// joined.
    std::function<void(const Sightings&)> take;
    /// The part of the image that is joined as the medium; null for all.
    std::shared_ptr<const Space> space = nullptr;
};

struct SegmentRunResult {
    /// Everything that was requested is done.
    bool isComplete = false;
    std::vector<BlocksSetAside> setAside;
};

/// Scans what the store lacks, showing progress, until that is done or the user stops it. If a worker fails, the blocks
/// and the type on which it failed are left out, and the user is informed. Throws `Failure`: not started if no worker
/// gets to work, losses if the store cannot be written.
SegmentRunResult RunSegments(Medium& medium, const SegmentStore& store, const SegmentRunOptions& options);

}  // namespace salvor
