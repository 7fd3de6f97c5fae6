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
    /// These blocks are scanned.
    BlockRange blocks;
    std::int64_t segmentBlocks = 1;
    int workers = 1;
    bool quiet = false;
    /// Takes what the joined segments of the whole scan have seen, in order, piece by piece; unreadable sectors are
    /// noted in the medium instead. All blocks must have been scanned or be among those to scan. Without it nothing is
    /// joined.
    std::function<void(const Sightings&)> take;
    /// The part of the image that is joined as the medium; null for all.
    std::shared_ptr<const Space> space = nullptr;
};

struct SegmentRunResult {
    /// Everything was done that was asked for.
    bool isComplete = false;
    std::vector<BlocksSetAside> setAside;
};

/// Scans what the store lacks, telling the person how far it is, until that is done or the person stops it. A worker
/// that fails costs the blocks and the type it fails in; the person is told. Throws `Failure`: not started if no worker
/// gets to work, losses if the store cannot be written.
SegmentRunResult RunSegments(Medium& medium, const SegmentStore& store, const SegmentRunOptions& options);

}  // namespace salvor
