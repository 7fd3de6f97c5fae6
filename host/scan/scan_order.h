#pragma once

#include "host/records/json_lines.h"
#include "host/scan/scan_session.h"
#include "host/scan/segment_journal.h"
#include "host/workers/worker.h"

namespace salvor {

/// The name of `ScanPartOrdered` among the kinds of orders.
inline constexpr const char* ScanOrderKind = "scan";

/// A part of a scan for a worker process to look at.
struct ScanOrder {
    ScanRequest request;
    ScanPart part;
    ScanKey key;
    /// After this time, a part that may end sooner does so.
    double seconds = 0;
};

Json ToJson(const ScanOrder& order);

/// Scans the ordered part and writes its journal to the order's file. False if it was stopped and has nothing to write.
/// Throws `Failure` if the journal cannot be written.
bool ScanPartOrdered(Worker& worker);

}  // namespace salvor
