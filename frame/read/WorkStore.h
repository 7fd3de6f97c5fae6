#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/contract/SectorBlock.h"
#include "frame/read/WorkMeter.h"

/// What the walks of a scan may cost together, in bytes looked at. Each has `FreeBytes`; what it looks at beyond that
/// comes out of a store of `MostBytes` that every block refills, `RefillFactor` times its size. A walk may use half of
/// what is left, so that a few long ones leave something for those behind them.
template <std::int64_t FreeBytes, std::int64_t MostBytes, std::int64_t RefillFactor>
class BasicWorkStore {
public:
    void Reset() { bytes_ = MostBytes; }

    void EnterBlock(const SectorBlock& block) {
        const std::int64_t blockBytes = std::int64_t{block.sectorCount} * block.sectorSize;
        bytes_ = std::min(MostBytes,
                          bytes_ + std::clamp<std::int64_t>(blockBytes, 0, MostBytes / RefillFactor) * RefillFactor);
    }

    /// For the next walk.
    WorkMeter NewMeter() const { return WorkMeter(bytes_ / 2 + FreeBytes); }

    void Settle(const WorkMeter& meter) {
        bytes_ = std::max<std::int64_t>(bytes_ - std::max<std::int64_t>(meter.Used() - FreeBytes, 0), 0);
    }

private:
    std::int64_t bytes_ = MostBytes;
};

using WorkStore = BasicWorkStore<0x10000, std::int64_t{4} << 30, 64>;
