#pragma once

#include <cstdint>

/// The sectors of the last file that a type has reported. A sector in between is no candidate; the first one is.
class LastFileRange {
public:
    bool Refuses(std::int64_t sector) const { return start_ < sector && sector < end_; }

    /// The end is reckoned in 32 bits, which may wrap.
    void Set(std::int64_t startSector, std::uint32_t size, std::int32_t sectorSize) {
        const std::uint32_t sectors =
            (size - 1 + static_cast<std::uint32_t>(sectorSize)) / static_cast<std::uint32_t>(sectorSize);
        start_ = startSector;
        end_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(startSector) + sectors);
    }

private:
    std::int64_t start_ = 0x76543210;
    std::int64_t end_ = 0;
};
