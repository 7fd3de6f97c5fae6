#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "frame/contract/SectorBlock.h"
#include "frame/read/Candidate.h"

/// Bounds the cost of all walks of a scan together, in bytes read, so that a medium full of headers is scanned in
/// linear time and not much slower than others. It is a token bucket, refilled by each block: when full it holds some
/// times the medium's size, since a single film may fill the medium. A walk may use half of what is left, so that a few
/// long walks leave something for later ones, but always `SureBytes`. Walks along real files stay far below.
class Budget {
public:
    static constexpr std::int64_t SureBytes = 0x800;
    /// What a full bucket holds for a medium of unknown size.
    static constexpr std::int64_t MostBytes = std::int64_t{4} << 30;
    /// Bytes refilled for each byte of a block.
    static constexpr std::int64_t RefillFactor = 8;

    /// For tests only: walks may use as much as they want.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static inline bool isEndless = false;

    /// Fills the bucket for another scan.
    void Reset() { *this = {}; }

    void EnterBlock(const SectorBlock& block) {
        Settle();
        if (most_ == 0) {
            most_ = CapacityFor(MediumSize(block));
            left_ = std::max<std::int64_t>(left_ + most_ - MostBytes, 0);
        }
        const std::int64_t blockBytes = std::int64_t{block.sectorCount} * block.sectorSize;
        left_ =
            std::min(most_, left_ + std::clamp<std::int64_t>(blockBytes, 0, MostBytes / RefillFactor) * RefillFactor);
    }

    /// The bucket is full.
    bool IsAtRest() const { return AfterWalk() == most_ || most_ == 0; }

    void BeginWalk() {
        Settle();
        limit_ = isEndless ? std::numeric_limits<std::int64_t>::max() : left_ / 2 + SureBytes;
    }

    /// Adds to the walk's cost. Work that takes far longer than reading the bytes counts as the bytes that could be
    /// read in that time.
    void Charge(std::int64_t bytes) { used_ += bytes; }

    /// What the walk may still use; nothing or less once it has used up what it was given.
    std::int64_t Left() const { return limit_ - used_; }
    bool IsExhausted() const { return Left() <= 0; }

private:
    static constexpr std::int64_t CapacityFor(std::int64_t mediumBytes) {
        constexpr std::int64_t unknown = std::numeric_limits<std::int64_t>::max();
        if (mediumBytes == unknown) {
            return MostBytes;
        }
        // No type follows a file further than 128 GiB.
        constexpr std::int64_t longest = std::int64_t{128} << 30;
        // Formats of many small records cost several times their bytes.
        constexpr std::int64_t least = std::int64_t{256} << 20;
        const std::int64_t bytes = std::min(mediumBytes, longest);
        return std::max({least, std::min(16 * bytes, MostBytes), 4 * bytes});
    }

    // What the current walk leaves.
    std::int64_t AfterWalk() const { return std::max<std::int64_t>(left_ - used_, 0); }

    void Settle() {
        left_ = AfterWalk();
        used_ = 0;
    }

    // 0 until the first block of a scan tells how large the medium is.
    std::int64_t most_ = 0;
    std::int64_t left_ = MostBytes;
    // Limit and cost of the current walk.
    std::int64_t limit_ = MostBytes / 2 + SureBytes;
    std::int64_t used_ = 0;
};
