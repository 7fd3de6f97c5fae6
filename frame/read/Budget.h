#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "frame/contract/SectorBlock.h"
#include "frame/read/Candidate.h"

/// Bounds the cost of all walks of a scan together, in bytes read, so that a medium full of headers is scanned in
/// linear time. It is a token bucket, refilled by each block: when full it holds `MostBytes`, or a few times the
/// medium's size if that is more, since a single film may fill the medium. A walk may use half of what is left, so that
/// a few long walks leave something for later ones, but always `FreeBytes`. Walks along real files stay far below.
class Budget {
public:
    static constexpr std::int64_t FreeBytes = 0x10000;
    static constexpr std::int64_t MostBytes = std::int64_t{4} << 30;
    /// Bytes refilled for each byte of a block.
    static constexpr std::int64_t RefillFactor = 64;

    /// Fills the bucket for another scan.
    void Reset() { *this = {}; }

    void EnterBlock(const SectorBlock& block) {
        Settle();
        if (most_ == 0) {
            most_ = CapacityFor(MediumSize(block));
            left_ += most_ - MostBytes;
        }
        const std::int64_t blockBytes = std::int64_t{block.sectorCount} * block.sectorSize;
        left_ =
            std::min(most_, left_ + std::clamp<std::int64_t>(blockBytes, 0, MostBytes / RefillFactor) * RefillFactor);
    }

    /// The bucket is full.
    bool IsAtRest() const { return AfterWalk() == most_ || most_ == 0; }

    void BeginWalk() {
        Settle();
        limit_ = left_ / 2 + FreeBytes;
    }

    /// Adds to the walk's cost. Work that takes far longer than reading the bytes counts as the bytes that could be
    /// read in that time.
    void Charge(std::int64_t bytes) { used_ += bytes; }

    /// The walk has used up what it was given.
    bool IsExhausted() const { return used_ >= limit_; }

private:
    static constexpr std::int64_t CapacityFor(std::int64_t mediumBytes) {
        constexpr std::int64_t times = 4;
        // No type follows a file further than 128 GiB.
        constexpr std::int64_t longest = std::int64_t{128} << 30;
        constexpr std::int64_t unknown = std::numeric_limits<std::int64_t>::max();
        return mediumBytes == unknown ? MostBytes : std::max(MostBytes, std::min(mediumBytes, longest) * times);
    }

    // What the current walk leaves.
    std::int64_t AfterWalk() const {
        return std::max<std::int64_t>(left_ - std::max<std::int64_t>(used_ - FreeBytes, 0), 0);
    }

    void Settle() {
        left_ = AfterWalk();
        used_ = 0;
    }

    // 0 until the first block of a scan tells how large the medium is.
    std::int64_t most_ = 0;
    std::int64_t left_ = MostBytes;
    // Limit and cost of the current walk.
    std::int64_t limit_ = MostBytes / 2 + FreeBytes;
    std::int64_t used_ = 0;
};
