#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "frame/contract/ISectorSource.h"

namespace test {

using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(std::string_view text);
Bytes Join(std::initializer_list<Bytes> parts);
Bytes Zeros(std::size_t count);

/// Deterministic noise: the same seed gives the same bytes on every machine.
class Noise {
public:
    explicit Noise(std::uint64_t seed) : state_(seed * 2 + 1) {}
    std::uint64_t Next();
    /// A number below `bound`, which is at least 1.
    std::uint64_t Below(std::uint64_t bound) { return Next() % bound; }
    Bytes Random(std::size_t count);

private:
    std::uint64_t state_;
};

/// A medium in memory that serves as its own sector source. Its sectors count from 0 here; in the stream that scanners
/// see, the first one is number `StreamStart`.
class Medium : public ISectorSource {
public:
    static constexpr std::int64_t StreamStart = 1;

    explicit Medium(std::int32_t sectorSize = 512, Bytes wholeSectors = {})
        : sectorSize_(sectorSize), bytes_(std::move(wholeSectors)) {}

    /// Writes bytes from the start of a sector on and grows the medium to whole sectors.
    Medium& Put(std::int64_t sector, ByteSpan bytes);
    Medium& Put(std::int64_t sector, std::string_view text) { return Put(sector, BytesOf(text)); }
    /// Grows the medium with zeros to a number of sectors.
    Medium& Grow(std::int64_t sectorCount);
    /// Makes these sectors unreadable: a read that touches one delivers nothing.
    Medium& Break(std::int64_t firstSector, std::int64_t sectorCount);

    std::int32_t SectorSize() const { return sectorSize_; }
    std::int64_t SectorCount() const;
    const Bytes& Data() const { return bytes_; }
    Bytes& Data() { return bytes_; }

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override;
    std::int32_t GetGeometry(SectorGeometry* geometry) override;

    /// Shifts the whole medium to later sectors of the stream, by this many.
    std::int64_t streamShift = 0;

    struct Request {
        /// As the medium counts, from 0.
        std::int64_t firstSector;
        std::int32_t count;
        bool operator==(const Request&) const = default;
    };
    /// Every call of `ReadSectors` so far.
    std::vector<Request> requests;

private:
    std::int32_t sectorSize_;
    Bytes bytes_;
    std::vector<std::pair<std::int64_t, std::int64_t>> broken_;
};

}  // namespace test
