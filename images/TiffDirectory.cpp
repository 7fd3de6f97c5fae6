#include "images/TiffDirectory.h"

namespace {

constexpr std::size_t EntryBytes = 12;
// DOUBLE, the last type of TIFF 6.0.
constexpr std::uint16_t LastType = 12;

}  // namespace

std::optional<std::uint16_t> OpenTiffDirectory(KFileSimulator& file, std::int64_t offset, TiffByteOrder order) {
    std::array<std::uint8_t, 2> bytes{};
    file.Seek(offset);
    if (!file.Read(bytes.data(), bytes.size())) {
        return std::nullopt;
    }
    const auto count = LoadTiff<std::uint16_t>(bytes, 0, order);
    return count <= MostTiffEntries ? std::optional(count) : std::nullopt;
}

std::optional<TiffEntry> ReadTiffEntry(KFileSimulator& file, TiffByteOrder order, std::uint16_t lowestTag) {
    std::array<std::uint8_t, EntryBytes> bytes{};
    if (!file.Read(bytes.data(), bytes.size())) {
        return std::nullopt;
    }
    const TiffEntry entry{.tag = LoadTiff<std::uint16_t>(bytes, 0, order),
                          .type = LoadTiff<std::uint16_t>(bytes, 2, order),
                          .count = LoadTiff<std::uint32_t>(bytes, 4, order),
                          .value = {bytes[8], bytes[9], bytes[10], bytes[11]}};
    return entry.type <= LastType && entry.tag >= lowestTag ? std::optional(entry) : std::nullopt;
}
