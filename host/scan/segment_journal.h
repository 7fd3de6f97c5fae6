#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/platform/file.h"
#include "host/scan/merge.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// All journals of one scan have the same key.
struct ScanKey {
    /// The program and its version.
    std::string program;
    /// A digest of what identifies the medium.
    std::string medium;
    /// A digest of the scan's options.
    std::string options;
    bool operator==(const ScanKey&) const = default;
};

/// Writes the journal of a part: JSON lines, the last of which has a checksum of those before it. False, with the
/// reason in `file`, if it cannot be written; it is not synced.
bool WriteSegment(File& file, const ScanKey& key, const SegmentScan& segment);

/// A segment journal that was read back.
struct SegmentRead {
    /// Nothing unless the journal is complete and of this scan.
    std::optional<SegmentScan> segment;
    /// Why it cannot be used, for messages.
    std::string why;
};

SegmentRead ReadSegment(File& file, const ScanKey& key, const ScanGrid& grid);

/// The blocks of a journal of this scan. Reads only the first line, so the others may be damaged.
std::optional<BlockRange> ReadSegmentBlocks(File& file, const ScanKey& key, const ScanGrid& grid);

}  // namespace salvor
