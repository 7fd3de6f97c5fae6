#include "host/medium/extent_source.h"

#include <algorithm>

namespace salvor {

namespace {

std::shared_ptr<const Space> SpaceOf(const Medium& medium, const std::vector<Extent>& extents) {
    auto space = std::make_shared<Space>(medium.SectorSize(), medium.SizeInBytes());
    std::ranges::for_each(extents, [&space](const Extent& extent) { space->Add(extent); });
    return space;
}

}  // namespace

ExtentSource::ExtentSource(Medium& medium, const std::vector<Extent>& extents)
    : ExtentSource(medium, SpaceOf(medium, extents)) {}

std::size_t ExtentSource::ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
    const std::int64_t inside = std::clamp<std::int64_t>(Size() - offset, 0, static_cast<std::int64_t>(length));
    const std::span<std::uint8_t> wanted(buffer, static_cast<std::size_t>(inside));
    std::size_t done = 0;
    while (done < wanted.size()) {
        const Space::Place place = space_->PlaceOf(offset + static_cast<std::int64_t>(done));
        const std::size_t most = std::min(wanted.size() - done, static_cast<std::size_t>(place.bytes));
        const std::size_t read = ReadInside(place, wanted.subspan(done, most));
        done += read;
        if (read < most) {
            break;
        }
    }
    return done;
}

ByteRange ExtentSource::NextData(std::int64_t offset) {
    const std::int64_t sectorSize = medium_.SectorSize();
    while (offset < Size()) {
        const Space::Place place = space_->PlaceOf(offset);
        if (place.startSector != Space::Gap) {
            const std::int64_t zeros = medium_.ZeroSectorsFrom(place.startSector + place.offset / sectorSize);
            const std::int64_t bytes = std::max<std::int64_t>(zeros * sectorSize - place.offset % sectorSize, 0);
            if (bytes < place.bytes) {
                return {offset + bytes, place.bytes - bytes};
            }
        }
        offset += place.bytes;
    }
    return {Size(), 0};
}

// Reads bytes of one piece; fewer if a sector cannot be read.
std::size_t ExtentSource::ReadInside(const Space::Place& place, std::span<std::uint8_t> buffer) {
    if (place.startSector == Space::Gap) {
        std::ranges::fill(buffer, std::uint8_t{0});
        return buffer.size();
    }
    const std::int64_t sectorSize = medium_.SectorSize();
    const std::int64_t first = place.startSector + place.offset / sectorSize;
    const auto skipped = static_cast<std::size_t>(place.offset % sectorSize);
    const auto bytes = static_cast<std::int64_t>(skipped + buffer.size());
    const std::int64_t count = (bytes + sectorSize - 1) / sectorSize;
    if (bytes == count * sectorSize && skipped == 0) {
        medium_.Read(first, buffer.data(), count);
    } else {
        std::vector<std::uint8_t> sectors(static_cast<std::size_t>(count * sectorSize));
        medium_.Read(first, sectors.data(), count);
        std::copy_n(sectors.begin() + static_cast<std::ptrdiff_t>(skipped), buffer.size(), buffer.begin());
    }
    if (medium_.IsInterrupted()) {
        return 0;
    }
    const ByteRange piece{first * sectorSize + static_cast<std::int64_t>(skipped),
                          static_cast<std::int64_t>(buffer.size())};
    const std::vector<ByteRange> missing = medium_.UnreadableIn({&piece, 1});
    return missing.empty() ? buffer.size() : static_cast<std::size_t>(missing.front().first);
}

}  // namespace salvor
