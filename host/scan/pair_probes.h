#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace salvor {

/// What a signature wants of one byte; nothing where the mask is 0.
struct WantedByte {
    std::uint8_t value = 0;
    std::uint8_t mask = 0;
    bool Is(std::uint8_t byte) const { return ((byte ^ value) & mask) == 0; }
};

/// A cheap test for many signatures at once: two bytes at a few places of a sector, looked up in tables of bits.
class PairProbes {
public:
    /// Signatures are within this many bytes of a sector's start, and so within any sector.
    static constexpr std::size_t Reach = 512;

    /// Adds a signature that begins at `offset`; it ends within `Reach`.
    void Add(std::size_t offset, std::span<const WantedByte> signature);

    /// False if the sector has none of the signatures.
    bool MayHaveOne(const std::uint8_t* sector) const {
        bool may = false;
        for (const Probe& probe : probes_) {
            std::uint16_t pair = 0;
            std::memcpy(&pair, sector + probe.offset, sizeof(pair));
            may |= (probe.values[pair / 64U] >> (pair % 64U) & 1U) != 0;
        }
        return may;
    }

private:
    struct Probe {
        std::size_t offset;
        // A bit for each value of the two bytes, loaded as the machine stores them.
        std::vector<std::uint64_t> values;
    };

    std::vector<Probe> probes_;
};

}  // namespace salvor
