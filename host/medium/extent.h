#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace salvor {

/// A run of bytes on the medium, or a hole of zeros. All extents of a file but the last end at the end of a sector; the
/// first one is on the medium.
struct Extent {
    static constexpr std::int64_t Nowhere = -1;

    /// `Nowhere` for a hole, for which the file system keeps no sectors.
    std::int64_t startSector = 0;
    std::int64_t bytes = 0;
    bool IsHole() const { return startSector == Nowhere; }
    bool operator==(const Extent&) const = default;
};

inline std::int64_t BytesOf(const std::vector<Extent>& extents) {
    std::int64_t bytes = 0;
    for (const Extent& extent : extents) {
        bytes += extent.bytes;
    }
    return bytes;
}

/// Appends a piece of at least one byte; one that continues the last extent becomes part of it. `sectorSize` in bytes.
inline void Append(std::vector<Extent>& extents, const Extent& piece, std::int64_t sectorSize) {
    const auto continues = [&](const Extent& last) {
        return last.IsHole()
                   ? piece.IsHole()
                   : last.bytes % sectorSize == 0 && last.startSector + last.bytes / sectorSize == piece.startSector;
    };
    if (!extents.empty() && continues(extents.back())) {
        extents.back().bytes += piece.bytes;
    } else {
        extents.push_back(piece);
    }
}

/// Keeps only the first bytes, at least one; the first extent stays in any case.
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
