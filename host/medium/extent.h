#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace salvor {

/// Bytes that lie together on the medium. All extents of a file but the last end with a sector.
struct Extent {
    std::int64_t startSector = 0;
    std::int64_t bytes = 0;
    bool operator==(const Extent&) const = default;
};

inline std::int64_t BytesOf(const std::vector<Extent>& extents) {
    std::int64_t bytes = 0;
    for (const Extent& extent : extents) {
        bytes += extent.bytes;
    }
    return bytes;
}

/// Leaves the first bytes, of which there is one at least; the first extent stays in any case.
inline void CutTo(std::vector<Extent>& extents, std::int64_t bytes) {
    for (std::size_t i = 0; i < extents.size(); ++i) {
        extents[i].bytes = std::min(extents[i].bytes, bytes);
        bytes -= extents[i].bytes;
        if (bytes <= 0) {
            extents.resize(i + 1);
        }
    }
}

}  // namespace salvor
