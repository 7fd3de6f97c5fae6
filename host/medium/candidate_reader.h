#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/medium/medium.h"

namespace salvor {

/// How many bytes may still be read; shared by several readers.
class ReadAllowance {
public:
    explicit ReadAllowance(std::int64_t bytes) : left_(bytes) {}
    /// False, from then on, when there is less left than is to be read.
    bool Take(std::int64_t bytes) {
        left_ = bytes <= left_ ? left_ - bytes : -1;
        return !IsUsedUp();
    }
    bool IsUsedUp() const { return left_ < 0; }
    std::int64_t Left() const { return left_ < 0 ? 0 : left_; }

private:
    std::int64_t left_;
};

/// The bytes of the medium from the start of a find on, for measuring it. Unreadable sectors are zeros. Keeps the last
/// piece read.
class CandidateReader {
public:
    /// `startSector` lies on the medium. What is read ends with the medium, or `longest` bytes behind the start. The
    /// medium and the allowance outlive this.
    CandidateReader(Medium& medium, std::int64_t startSector, std::int64_t longest, ReadAllowance& allowance);

    /// Bytes from the start to the end of what is read.
    std::int64_t Size() const { return size_; }

    /// Fills `out` with the bytes at `offset`. False, with `out` as it was, unless all of them lie within `Size` and
    /// the allowance lasts.
    bool Read(std::int64_t offset, std::span<std::uint8_t> out);

private:
    bool Fetch(std::int64_t offset, std::int64_t length);

    Medium& medium_;
    std::int64_t startSector_;
    std::int64_t size_;
    ReadAllowance& allowance_;
    std::vector<std::uint8_t> piece_;
    // Where the piece begins.
    std::int64_t pieceOffset_ = 0;
};

}  // namespace salvor
