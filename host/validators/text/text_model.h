#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// Measures how well bytes continue a text, by what followed the same one, two and three bytes in it before. It knows
/// what most texts have in common from the start, so that two texts in one language are distinguished by what they do
/// not share.
class TextModel {
public:
    /// `isBackwards` is for texts that are read from their last byte on. A copy is cheaper than a second construction.
    explicit TextModel(bool isBackwards);

    /// Learns the byte at `at` as the continuation of the bytes before it.
    void Learn(ByteSpan text, std::size_t at);

    /// How unexpected the byte at `at` is, in bits; then learns it.
    double Take(ByteSpan text, std::size_t at);

private:
    static constexpr unsigned SlotBits = 14;
    static constexpr std::size_t Orders = 3;

    // What followed a number of bytes: hashed counts of these bytes, and of them with the following byte.
    struct Order {
        std::array<std::uint16_t, std::size_t{1} << SlotBits> contexts{};
        std::array<std::uint16_t, std::size_t{1} << SlotBits> symbols{};
    };

    double Share(ByteSpan text, std::size_t at) const;

    std::array<Order, Orders> orders_{};
};

}  // namespace salvor
