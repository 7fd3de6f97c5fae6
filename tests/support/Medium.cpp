#include "tests/support/Medium.h"

#include <algorithm>
#include <cstring>

namespace test {

Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes Zeros(std::size_t count) { return Bytes(count, 0); }

std::uint64_t Noise::Next() {
    // xorshift64*
    state_ ^= state_ >> 12U;
    state_ ^= state_ << 25U;
    state_ ^= state_ >> 27U;
    return state_ * 0x2545F4914F6CDD1DULL;
}

Bytes Noise::Random(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; i += sizeof(std::uint64_t)) {
        const std::uint64_t word = Next();
        std::memcpy(bytes.data() + i, &word, std::min(sizeof(word), count - i));
    }
    return bytes;
}

Medium& Medium::Put(std::int64_t sector, ByteSpan bytes) {
    const auto size = static_cast<std::size_t>(sectorSize_);
    const std::size_t from = static_cast<std::size_t>(sector) * size;
    const std::size_t wholeSectors = (from + bytes.size() + size - 1) / size * size;
    bytes_.resize(std::max(bytes_.size(), wholeSectors));
    std::ranges::copy(bytes, bytes_.begin() + static_cast<std::ptrdiff_t>(from));
    return *this;
}

Medium& Medium::Grow(std::int64_t sectorCount) {
    bytes_.resize(std::max(bytes_.size(), static_cast<std::size_t>(sectorCount * sectorSize_)));
    return *this;
}

Medium& Medium::Break(std::int64_t firstSector, std::int64_t sectorCount) {
    broken_.emplace_back(firstSector, firstSector + sectorCount);
    return *this;
}

std::int64_t Medium::SectorCount() const { return static_cast<std::int64_t>(bytes_.size()) / sectorSize_; }

std::int32_t Medium::ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) {
    const std::int64_t first = firstSector - StreamStart - streamShift;
    requests.push_back({first, count});
    for (const auto& [from, to] : broken_) {
        if (first < to && first + count > from) {
            return 0;
        }
    }
    const auto size = static_cast<std::size_t>(sectorSize_);
    for (std::int32_t i = 0; i < count; ++i) {
        std::uint8_t* const out = buffer + static_cast<std::size_t>(i) * size;
        if (first + i >= 0 && first + i < SectorCount()) {
            std::memcpy(out, bytes_.data() + static_cast<std::size_t>(first + i) * size, size);
        } else {
            std::memset(out, 0, size);
        }
    }
    return 1;
}

std::int32_t Medium::GetGeometry(SectorGeometry* geometry) {
    *geometry = {static_cast<std::uint32_t>(sectorSize_), SectorCount()};
    return 1;
}

}  // namespace test
