#pragma once

#include <cstdint>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/volumes/known_file.h"

namespace salvor {

/// The files that file systems know on a medium. If several begin at one sector, only the most trusted one is kept.
class KnownFiles {
public:
    KnownFiles() = default;
    /// `used` is what living files and the file systems themselves occupy. Deleted files whose first sector is used are
    /// left out, as it no longer belongs to them. `sectorSize` in bytes.
    KnownFiles(std::vector<KnownFile> files, const SectorRangeSet& used, std::int64_t sectorSize);

    /// Ordered by first sector.
    const std::vector<KnownFile>& All() const { return files_; }
    /// Null for -1.
    const KnownFile* At(std::int32_t index) const {
        return index < 0 ? nullptr : &files_[static_cast<std::size_t>(index)];
    }
    /// True if its extents cover the whole file, and no other living file claims any of them.
    bool IsIntact(std::int32_t index) const { return isIntact_[static_cast<std::size_t>(index)]; }

private:
    void FindIntact(const SectorRangeSet& used, std::int64_t sectorSize);

    std::vector<KnownFile> files_;
    std::vector<bool> isIntact_;
};

}  // namespace salvor
