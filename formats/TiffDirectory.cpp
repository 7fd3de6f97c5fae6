#include "formats/TiffDirectory.h"

TiffEntry TiffEntryOf(std::span<const std::uint8_t, TiffEntryBytes> bytes, Endian order) {
    return {.tag = LoadAs<std::uint16_t>(bytes, 0, order),
            .type = LoadAs<std::uint16_t>(bytes, 2, order),
            .count = LoadAs<std::uint32_t>(bytes, 4, order),
            .value = {bytes[8], bytes[9], bytes[10], bytes[11]}};
}
