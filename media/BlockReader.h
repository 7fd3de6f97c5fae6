#pragma once

#include <cstdint>
#include <cstring>

#include "frame/scan/SectorScan.h"

/// Reads a candidate as `KFileSimulator` does, but only to the end of the current block. It copies no sectors, so it
/// rejects candidates that break early at almost no cost.
class BlockReader {
public:
    explicit BlockReader(const Candidate& candidate) : bytes_(candidate.RestOfBlock()) {}

    void Seek(std::int64_t position) { position_ = position; }
    std::int64_t Tell() const { return position_; }
    void Skip(std::int64_t delta) {
        position_ =
            static_cast<std::int64_t>(static_cast<std::uint64_t>(position_) + static_cast<std::uint64_t>(delta));
    }

    /// All of the bytes or none.
    bool Read(void* buffer, std::uint32_t length) {
        if (position_ < 0) {
            return false;
        }
        const auto from = static_cast<std::uint64_t>(position_);
        if (from > bytes_.size() || length > bytes_.size() - from) {
            ranOut_ = true;
            return false;
        }
        std::memcpy(buffer, bytes_.data() + from, length);
        position_ += length;
        return true;
    }

    /// True once a read has gone beyond the block: the candidate is then still undecided.
    bool RanOut() const { return ranOut_; }

private:
    ByteSpan bytes_;
    std::int64_t position_ = 0;
    bool ranOut_ = false;
};
