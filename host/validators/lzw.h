#pragma once

#include <array>
#include <cstdint>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// The codes of an LZW stream, followed without unpacking them, so that overwritten bytes show. Sources: CompuServe,
/// Graphics Interchange Format, version 89a, appendix F; Adobe, TIFF Revision 6.0, section 13.
class LzwWalk {
public:
    enum class Variant : std::uint8_t {
        /// Codes begin with their lowest bit.
        Gif,
        /// Codes begin with their highest bit, and the code width grows one code earlier.
        Tiff,
    };
    /// `symbolBits` is the width of the symbols that the stream unpacks to: 8 in TIFF, 2 to 11 in GIF.
    LzwWalk(Variant variant, unsigned symbolBits)
        : variant_(variant), clear_(1U << symbolBits), firstBits_(symbolBits + 1) {
        Clear();
    }

    /// Takes the stream's next bytes. Those after its end are ignored.
    void Take(ByteSpan bytes);

    /// True after a code that no encoder produces.
    bool IsBroken() const { return isBroken_; }
    /// True after the code that ends the stream.
    bool HasEnded() const { return hasEnded_; }
    /// Symbols so far.
    std::int64_t Count() const { return count_; }

private:
    static constexpr std::uint32_t MostCodes = 4096;
    static constexpr unsigned MostBits = 12;

    void Clear() {
        bits_ = firstBits_;
        next_ = clear_ + 2;
        hasPrevious_ = false;
    }
    void TakeCode(std::uint32_t code);

    Variant variant_;
    std::uint32_t clear_;
    unsigned firstBits_;
    unsigned bits_ = 0;
    // Codes below this one are known.
    std::uint32_t next_ = 0;
    bool hasPrevious_ = false;
    std::uint32_t previous_ = 0;
    bool isBroken_ = false;
    bool hasEnded_ = false;
    std::int64_t count_ = 0;
    std::uint32_t held_ = 0;
    unsigned heldBits_ = 0;
    // The number of symbols that each code beyond the single symbols stands for.
    std::array<std::uint32_t, MostCodes> lengths_{};
};

}  // namespace salvor
