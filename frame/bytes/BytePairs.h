#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// A quick test of a sector, like `SectorFilter`, for types whose headers begin in many ways: which bytes may come
/// first, and which may follow them.
class BytePairs {
public:
    /// Each of `firsts` may be followed by the bytes for which `isSecond` holds. For up to eight groups.
    template <std::predicate<std::uint8_t> IsSecond>
    constexpr BytePairs& Allow(std::string_view firsts, IsSecond isSecond) {
        for (const char first : firsts) {
            first_[static_cast<std::uint8_t>(first)] |= group_;
        }
        for (std::size_t second = 0; second < second_.size(); ++second) {
            second_[second] |= isSecond(static_cast<std::uint8_t>(second)) ? group_ : std::uint8_t{0};
        }
        group_ = static_cast<std::uint8_t>(group_ << 1U);
        return *this;
    }
    constexpr BytePairs& Allow(std::string_view firsts, std::uint8_t second) {
        return Allow(firsts, [second](std::uint8_t byte) { return byte == second; });
    }

    static constexpr std::size_t Reach() { return 2; }
    bool Matches(const std::uint8_t* sector) const { return (first_[sector[0]] & second_[sector[1]]) != 0; }

private:
    // A bit for each group that a byte belongs to.
    std::array<std::uint8_t, 256> first_{};
    std::array<std::uint8_t, 256> second_{};
    std::uint8_t group_ = 1;
};
