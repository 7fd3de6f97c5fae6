#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/contract/SectorBlock.h"

/// Bounds what all walks of a scan may cost together, in bytes read, so that a medium made of nothing but headers is
/// scanned in linear time. It is a token bucket: `MostBytes` when full, refilled by each block. A walk may use half of
/// what is left, so that a few long ones leave something for those behind them, and `FreeBytes` in any case. Walks
/// along real files stay far below.
class Budget {
public:
    static constexpr std::int64_t FreeBytes = 0x10000;
    static constexpr std::int64_t MostBytes = std::int64_t{4} << 30;
    /// For each byte of a block.
    static constexpr std::int64_t RefillFactor = 64;

    /// Fills the bucket for another scan.
    void Reset() { *this = {}; }

    void EnterBlock(const SectorBlock& block) {
        Settle();
        const std::int64_t blockBytes = std::int64_t{block.sectorCount} * block.sectorSize;
        left_ = std::min(MostBytes,
                         left_ + std::clamp<std::int64_t>(blockBytes, 0, MostBytes / RefillFactor) * RefillFactor);
    }

    /// The walk before this one has ended.
    void BeginWalk() {
        Settle();
        limit_ = left_ / 2 + FreeBytes;
    }

    /// Adds to what the walk has cost. What takes far longer than reading the bytes counts as the bytes that could be
    /// read meanwhile.
    void Charge(std::int64_t bytes) { used_ += bytes; }

    /// The walk has cost what it may.
    bool IsExhausted() const { return used_ >= limit_; }

private:
    void Settle() {
        left_ = std::max<std::int64_t>(left_ - std::max<std::int64_t>(used_ - FreeBytes, 0), 0);
        used_ = 0;
    }

    std::int64_t left_ = MostBytes;
    // Of the walk that began last.
    std::int64_t limit_ = MostBytes / 2 + FreeBytes;
    std::int64_t used_ = 0;
};
