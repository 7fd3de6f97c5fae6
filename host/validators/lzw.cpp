#include "host/validators/lzw.h"

namespace salvor {

void LzwWalk::Take(ByteSpan bytes) {
    for (const std::uint8_t byte : bytes) {
        held_ = variant_ == Variant::Gif ? held_ | std::uint32_t{byte} << heldBits_ : held_ << 8U | byte;
        heldBits_ += 8;
        while (heldBits_ >= bits_) {
            if (isBroken_ || hasEnded_) {
                return;
            }
            const unsigned bits = bits_;
            const std::uint32_t mask = (1U << bits) - 1;
            heldBits_ -= bits;
            if (variant_ == Variant::Gif) {
                const std::uint32_t code = held_ & mask;
                held_ >>= bits;
                TakeCode(code);
            } else {
                TakeCode(held_ >> heldBits_ & mask);
            }
        }
    }
}

void LzwWalk::TakeCode(std::uint32_t code) {
    const std::uint32_t end = clear_ + 1;
    if (code == clear_) {
        Clear();
        return;
    }
    if (code == end) {
        hasEnded_ = true;
        return;
    }
    const auto lengthOf = [this](std::uint32_t known) {
        return known < clear_ ? 1U : lengths_[known];
    };
    if (!hasPrevious_) {
        isBroken_ = code >= clear_;
        ++count_;
    } else {
        if (code > next_ || code >= MostCodes) {
            isBroken_ = true;
            return;
        }
        // A code that is not yet known is the one being defined.
        if (next_ < MostCodes) {
            lengths_[next_] = lengthOf(previous_) + 1;
            ++next_;
        }
        count_ += lengthOf(code);
        const std::uint32_t early = variant_ == Variant::Tiff ? 1 : 0;
        if (bits_ < MostBits && next_ + early >= 1U << bits_) {
            ++bits_;
        }
    }
    previous_ = code;
    hasPrevious_ = true;
}

}  // namespace salvor
