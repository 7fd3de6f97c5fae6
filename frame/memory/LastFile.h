#pragma once

#include <cstdint>

/// The extent of the file that a scanner reported last, for types whose later sectors look like headers.
class LastFile {
public:
    void Reset() { *this = {}; }

    /// A file of `sectors` sectors. Sector numbers wrap around.
    void Set(std::int64_t startSector, std::int64_t sectors) {
        start_ = startSector;
        end_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(startSector) + static_cast<std::uint64_t>(sectors));
    }

    /// Sectors that a file of `size` bytes fills, the last one perhaps in part.
    static std::int64_t SectorsOf(std::int64_t size, std::int32_t sectorSize) {
        return size / sectorSize + (size % sectorSize > 0 ? 1 : 0);
    }

    /// The sector is one of the file's, but not its first.
    bool Continues(std::int64_t sector) const { return start_ < sector && sector < end_; }

    /// There is a file, and it ends after this sector. A start of 0 or less counts as no file.
    bool ReachesBeyond(std::int64_t sector) const { return start_ > 0 && sector < end_; }

    /// True if neither `Continues` nor `ReachesBeyond` holds for this sector or any after it.
    bool EndsBy(std::int64_t sector) const { return end_ <= sector; }

private:
    std::int64_t start_ = 0;
    std::int64_t end_ = 0;
};
