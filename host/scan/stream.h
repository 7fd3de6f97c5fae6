#pragma once

#include <ISectorSource.h>

#include <cstdint>

#include "host/medium/medium.h"
#include "host/scan/block_reader.h"

namespace salvor {

/// The scanners' view of the medium: its first sector is number 1 of the stream, since the shared engines skip a first
/// block with number 0.
inline constexpr std::int64_t StreamStart = 1;

/// Serves the scanners' reads beyond the current block from the medium, and those inside the block from memory.
class StreamSource : public ISectorSource {
public:
    explicit StreamSource(Medium& medium) : medium_(medium) {}

    /// Sets the current block; its bytes stay valid until the next one is set.
    void SetBlock(const ReadBlock& block) { block_ = block; }

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override;
    std::int32_t GetGeometry(SectorGeometry* geometry) override;

private:
    Medium& medium_;
    ReadBlock block_{};
};

}  // namespace salvor
