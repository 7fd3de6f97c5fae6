#pragma once

#include <algorithm>
#include <map>

#include "tests/support/Scan.h"

namespace test {

/// A medium of any size that is zeros except for a few pieces. Its sectors count from 0 here, as in `Medium`.
class SparseMedium : public ISectorSource {
public:
    explicit SparseMedium(std::int64_t bytes, std::int32_t sectorSize = 512)
        : sectorSize_(sectorSize), sectorCount_(bytes / sectorSize) {}

    /// Writes bytes at any offset; pieces do not overlap.
    SparseMedium& Put(std::int64_t offset, Bytes bytes) {
        pieces_[offset] = std::move(bytes);
        return *this;
    }

    /// Scans the first sectors in one block.
    std::vector<Found> ScanStart(std::int32_t index, std::int32_t sectors = 1) {
        Bytes start(static_cast<std::size_t>(sectors) * static_cast<std::size_t>(sectorSize_));
        ReadSectors(Medium::StreamStart, start.data(), sectors);
        const SectorBlock block{Medium::StreamStart, start.data(), sectors, sectorSize_, this};
        RecordingSink sink;
        CreateType(index)->ScanBlock(&block, &sink);
        return sink.finds;
    }

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override {
        const std::int64_t from = (firstSector - Medium::StreamStart) * sectorSize_;
        const std::int64_t to = from + std::int64_t{count} * sectorSize_;
        std::fill_n(buffer, to - from, std::uint8_t{0});
        for (const auto& [offset, bytes] : pieces_) {
            const std::int64_t first = std::max(from, offset);
            const std::int64_t last = std::min(to, offset + static_cast<std::int64_t>(bytes.size()));
            if (first < last) {
                std::copy(bytes.begin() + (first - offset), bytes.begin() + (last - offset), buffer + (first - from));
            }
        }
        return 1;
    }
    std::int32_t GetGeometry(SectorGeometry* geometry) override {
        *geometry = {static_cast<std::uint32_t>(sectorSize_), sectorCount_};
        return 1;
    }

private:
    std::int32_t sectorSize_;
    std::int64_t sectorCount_;
    std::map<std::int64_t, Bytes> pieces_;
};

}  // namespace test
