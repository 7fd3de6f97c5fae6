#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/find.h"

namespace salvor {

/// What to look for at one sector.
struct FirstFindRequest {
    std::int64_t sector = 0;
    /// Factory indices.
    std::vector<std::int32_t> types;
    /// Caps in bytes that differ from the types' own, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// The scan ends once it has shown the scanners this many bytes.
    std::int64_t mostBytes = 0;
    /// Asked before every block; true ends the scan.
    std::function<bool()> stopRequested = [] {
        return false;
    };
};

struct FirstFound {
    std::optional<Find> find;
    /// The bytes that the scanners were shown.
    std::int64_t bytes = 0;
};

/// Scans from a sector on until one of the types reports a file that begins there.
FirstFound FirstFindAt(Medium& medium, const FirstFindRequest& request);

}  // namespace salvor
