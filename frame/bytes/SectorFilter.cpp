#include "frame/bytes/SectorFilter.h"

std::size_t SectorFilter::FirstIn(const std::uint8_t* sectors, std::size_t step, std::size_t count) const {
    const std::uint8_t* const words = sectors + place_;
    const std::uint32_t mask = mask_;
    const std::uint32_t value = value_;
    if (mask == ~std::uint32_t{0}) {
        return FirstSectorThat(words, step, count, [value](const std::uint8_t* at) { return WordAt(at) == value; });
    }
    return FirstSectorThat(words, step, count,
                           [mask, value](const std::uint8_t* at) { return (WordAt(at) & mask) == value; });
}
