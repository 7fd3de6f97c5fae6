#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/scan/SectorScan.h"

/// Reads a candidate as `KFileSimulator` does, but only as far as the block in hand goes. A first look with it costs no
/// copy of sectors, so candidates that break at once are cheap, however many there are.
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

    /// True once a read has failed for want of bytes behind the block: what was read says nothing then.
    bool RanOut() const { return ranOut_; }

private:
    ByteSpan bytes_;
    std::int64_t position_ = 0;
    bool ranOut_ = false;
};
