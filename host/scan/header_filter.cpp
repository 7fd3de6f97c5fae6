#include "host/scan/header_filter.h"

#include <algorithm>
#include <array>
#include <bit>

namespace salvor {

bool HeaderFilter::Add(std::int32_t type, const IPassingScanner& scanner, PairProbes& probes) {
    std::array<HeaderWord, 16> all{};
    const std::int32_t count = scanner.GetHeaderWords(all.data(), static_cast<std::int32_t>(all.size()));
    if (count < 1 || count > static_cast<std::int32_t>(all.size())) {
        return false;
    }
    const std::span words = std::span(all).first(static_cast<std::size_t>(count));
    // A single byte lets through a sector of most slices.
    constexpr int fewestBits = 12;
    if (std::ranges::any_of(words, [](const HeaderWord& word) {
            return std::popcount(word.mask) < fewestBits || word.place + sizeof(word.value) > PairProbes::Reach;
        })) {
        return false;
    }
    for (const HeaderWord& word : words) {
        std::array<std::uint8_t, sizeof(word.value)> values{};
        std::array<std::uint8_t, sizeof(word.mask)> masks{};
        std::memcpy(values.data(), &word.value, values.size());
        std::memcpy(masks.data(), &word.mask, masks.size());
        std::array<WantedByte, sizeof(word.value)> wanted{};
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            wanted[i] = {values[i], masks[i]};
        }
        probes.Add(word.place, wanted);
        words_.push_back({word, type});
    }
    return true;
}

}  // namespace salvor
