#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "frame/FileWindow.h"
#include "frame/MeasuringScanner.h"
#include "frame/WorkMeter.h"

/// A measuring scanner that follows a file's structure through a `FileWindow`.
///
/// `Self` says:
///   - `Identity`, `MinReportLength` and `IsHeader`, as for `MeasuringScanner`; `IsHeader` is the cheap test;
///   - `WalkLimit`: no byte farther than this from the file's start is looked at;
///   - `std::optional<std::int64_t> Walk(FileWindow& file)`: the file's length in bytes, if it is one.
///
/// What walks cost is bounded for media made of nothing but headers: each may look at `FreeBytes`, and what they look
/// at beyond that comes out of a store that every block refills in proportion to its size. A walk may use half of what
/// is left, so that a few long ones leave something for those behind them.
template <class Self>
class WalkingScanner : public MeasuringScanner<Self> {
public:
    std::int32_t Reset() override {
        store_ = StoreBytes;
        return MeasuringScanner<Self>::Reset();
    }

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        const std::int64_t blockBytes = std::int64_t{block->sectorCount} * block->sectorSize;
        store_ = std::min(StoreBytes,
                          store_ + std::clamp<std::int64_t>(blockBytes, 0, StoreBytes / RefillFactor) * RefillFactor);
        MeasuringScanner<Self>::ScanBlock(block, sink);
    }

    std::optional<std::int64_t> Measure(const Candidate& candidate) {
        WorkMeter meter(store_ / 2 + FreeBytes);
        FileWindow file(candidate, Self::WalkLimit, meter);
        const std::optional<std::int64_t> size = this->self().Walk(file);
        store_ = std::max<std::int64_t>(store_ - std::max<std::int64_t>(meter.Used() - FreeBytes, 0), 0);
        return size;
    }

private:
    static constexpr std::int64_t FreeBytes = 0x10000;
    static constexpr std::int64_t StoreBytes = std::int64_t{4} << 30;
    static constexpr std::int64_t RefillFactor = 64;

    std::int64_t store_ = StoreBytes;
};
