#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/platform/file.h"
#include "host/scan/merge.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// Journals of one scan have one key.
struct ScanKey {
    /// The program and its version.
    std::string program;
    /// A digest of what tells the medium from others.
    std::string medium;
    /// A digest of what was asked of the scan.
    std::string options;
    bool operator==(const ScanKey&) const = default;
};

/// Writes the journal of a part: JSON lines, the last of which holds a checksum of those in front of it. False, with
/// the reason in `file`, when it cannot be written; it is not synced.
bool WriteSegment(File& file, const ScanKey& key, const SegmentScan& segment);

/// A segment journal as read back.
struct SegmentRead {
    /// Nothing unless the journal is whole and of this scan.
    std::optional<SegmentScan> segment;
    /// For people: why it is of no use.
    std::string why;
};

SegmentRead ReadSegment(File& file, const ScanKey& key, const ScanGrid& grid);

/// The blocks of a journal of this scan. Only its first line is read, so the others may be damaged.
std::optional<BlockRange> ReadSegmentBlocks(File& file, const ScanKey& key, const ScanGrid& grid);

}  // namespace salvor
