#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// Tells how well bytes go on a text, by what followed the same one, two and three bytes in it before. Knows from the
/// start what most texts have in common, so that two texts in one language are told apart by what they do not share.
class TextModel {
public:
    /// `isBackwards` for texts whose last byte comes first. A copy is cheaper than a second construction.
    explicit TextModel(bool isBackwards);

    /// Takes the byte at `at` as the continuation of the bytes before it.
    void Learn(ByteSpan text, std::size_t at);

    /// How unexpected the byte at `at` is, in bits; learns it.
    double Take(ByteSpan text, std::size_t at);

private:
    static constexpr unsigned SlotBits = 14;
    static constexpr std::size_t Orders = 3;

    // What followed a number of bytes: hashed counts of these bytes, and of them with the one that followed.
    struct Order {
        std::array<std::uint16_t, std::size_t{1} << SlotBits> contexts{};
        std::array<std::uint16_t, std::size_t{1} << SlotBits> symbols{};
    };

    double Share(ByteSpan text, std::size_t at) const;

    std::array<Order, Orders> orders_{};
};

}  // namespace salvor
