#include "host/scan/pair_probes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace salvor {

namespace {

// How often two bytes match although the signature does not. Media are full of zeros.
int WeightOf(WantedByte first, WantedByte second) {
    const auto fits = [&](std::uint8_t byte) {
        return first.Is(byte) && second.Is(byte);
    };
    const int freeBits = 16 - std::popcount(first.mask) - std::popcount(second.mask);
    return (1 << freeBits) + (fits(0) || fits(0xFF) ? 0x10000 : 0);
}

}  // namespace

void PairProbes::Add(std::size_t offset, std::span<const WantedByte> signature) {
    const auto wantedAt = [&](std::size_t at) {
        return at >= offset && at - offset < signature.size() ? signature[at - offset] : WantedByte();
    };
    const std::size_t from = offset > 0 ? offset - 1 : 0;
    const std::size_t to = std::min(offset + signature.size(), Reach - 1);
    std::size_t best = from;
    int least = std::numeric_limits<int>::max();
    for (std::size_t at = from; at < to; ++at) {
        // Each additional offset costs time in every sector, as much as some thousand values that match by chance.
        constexpr int costOfProbe = 0x1000;
        const bool isProbed = std::ranges::find(probes_, at, &Probe::offset) != probes_.end();
        const int weight = WeightOf(wantedAt(at), wantedAt(at + 1)) + (isProbed ? 0 : costOfProbe);
        if (weight < least) {
            least = weight;
            best = at;
        }
    }
    auto probe = std::ranges::find(probes_, best, &Probe::offset);
    if (probe == probes_.end()) {
        probe = probes_.insert(probes_.end(), {best, std::vector<std::uint64_t>(0x10000 / 64)});
    }
    const WantedByte low = wantedAt(best);
    const WantedByte high = wantedAt(best + 1);
    for (std::uint32_t first = 0; first < 0x100; ++first) {
        for (std::uint32_t second = 0; low.Is(static_cast<std::uint8_t>(first)) && second < 0x100; ++second) {
            if (high.Is(static_cast<std::uint8_t>(second))) {
                const auto pair = std::bit_cast<std::uint16_t>(
                    std::array{static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)});
                probe->values[pair / 64U] |= std::uint64_t{1} << (pair % 64U);
            }
        }
    }
}

}  // namespace salvor
