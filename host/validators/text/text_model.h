#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// Measures how well bytes continue a text, by what followed the same byte and the same two bytes in it before. It
/// knows what most texts have in common from the start, so that two texts in one language are distinguished by what
/// they do not share.
class TextModel {
public:
    /// `isBackwards` is for texts that are read from their last byte on. `Forget` is cheaper than a second
    /// construction.
    explicit TextModel(bool isBackwards);

    /// Learns the byte at `at` as the continuation of the bytes before it.
    void Learn(ByteSpan text, std::size_t at);

    /// How likely the byte at `at` is, from 0 to 1; then learns it.
    double Take(ByteSpan text, std::size_t at);

    /// Forgets all that it has learned since its construction.
    void Forget();

private:
    static constexpr unsigned SlotBits = 16;
    static constexpr std::size_t Orders = 2;

    // The indexes in `counts_` for a number of bytes, and for them with the following byte.
    struct Slots {
        std::uint32_t context = 0;
        std::uint32_t symbol = 0;
    };
    static std::array<Slots, Orders> SlotsAt(ByteSpan text, std::size_t at);

    void Learn(const std::array<Slots, Orders>& slots);
    void Count(std::uint32_t slot);

    // What followed a number of bytes: hashed counts of these bytes, and of them with the following byte. More slots
    // than texts have trigrams, since shared ones make all texts alike.
    std::vector<std::uint16_t> counts_ = std::vector<std::uint16_t>((std::size_t{1} << SlotBits) * 2 * Orders);
    // What was counted since the construction.
    std::vector<std::uint32_t> counted_;
};

}  // namespace salvor
