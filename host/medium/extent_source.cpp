#include "host/medium/extent_source.h"

#include <algorithm>
#include <utility>

namespace salvor {

ExtentSource::ExtentSource(Medium& medium, std::vector<Extent> extents)
    : medium_(medium), extents_(std::move(extents)) {
    for (const Extent& extent : extents_) {
        starts_.push_back(starts_.back() + extent.bytes);
    }
}

std::size_t ExtentSource::ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
    const std::int64_t inside = std::clamp<std::int64_t>(Size() - offset, 0, static_cast<std::int64_t>(length));
    const std::span<std::uint8_t> wanted(buffer, static_cast<std::size_t>(inside));
    std::size_t done = 0;
    while (done < wanted.size()) {
        const std::int64_t at = offset + static_cast<std::int64_t>(done);
        const auto next = std::ranges::upper_bound(starts_, at);
        const std::int64_t left = *next - at;
        const std::size_t most = std::min(wanted.size() - done, static_cast<std::size_t>(left));
        const auto index = static_cast<std::size_t>(next - starts_.begin()) - 1;
        const std::size_t read = ReadInside(index, at - starts_[index], wanted.subspan(done, most));
        done += read;
        if (read < most) {
            break;
        }
    }
    return done;
}

// Bytes of one extent; fewer where a sector cannot be read.
std::size_t ExtentSource::ReadInside(std::size_t index, std::int64_t offset, std::span<std::uint8_t> buffer) {
    if (extents_[index].IsHole()) {
        std::ranges::fill(buffer, std::uint8_t{0});
        return buffer.size();
    }
    const std::int64_t sectorSize = medium_.SectorSize();
    const std::int64_t first = extents_[index].startSector + offset / sectorSize;
    const auto skipped = static_cast<std::size_t>(offset % sectorSize);
    const auto bytes = static_cast<std::int64_t>(skipped + buffer.size());
    const std::int64_t count = (bytes + sectorSize - 1) / sectorSize;
    if (bytes == count * sectorSize && skipped == 0) {
        medium_.Read(first, buffer.data(), count);
    } else {
        std::vector<std::uint8_t> sectors(static_cast<std::size_t>(count * sectorSize));
        medium_.Read(first, sectors.data(), count);
        std::copy_n(sectors.begin() + static_cast<std::ptrdiff_t>(skipped), buffer.size(), buffer.begin());
    }
    const ByteRange piece{first * sectorSize + static_cast<std::int64_t>(skipped),
                          static_cast<std::int64_t>(buffer.size())};
    const std::vector<ByteRange> missing = medium_.UnreadableIn({&piece, 1});
    return missing.empty() ? buffer.size() : static_cast<std::size_t>(missing.front().first);
}

}  // namespace salvor
