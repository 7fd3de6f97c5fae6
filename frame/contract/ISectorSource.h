#pragma once

#include <cstdint>

#include "SlotZero.h"

/// The medium's geometry; filled by `ISectorSource::GetGeometry`.
struct SectorGeometry {
    /// Bytes per sector.
    std::uint32_t bytesPerSector;
    /// Number of sectors of the medium; times `bytesPerSector` it is the medium's size in bytes.
    std::int64_t sectorCount;
};

/// The host's sector reader. Implemented and owned by the host; called on the scanning thread only.
class ISectorSource {
public:
    ISectorSource() = default;
    ISectorSource(const ISectorSource&) = delete;
    ISectorSource& operator=(const ISectorSource&) = delete;

    /// Slot 0 belongs to the host; the library never destroys a source.
    RAWFILETYPES_SLOT_ZERO(ISectorSource)

    /// Slot 1: fills `buffer`, which holds at least `count` sectors, with `count` sectors from the absolute sector
    /// `firstSector` on. Scanners ignore the result and take the buffer as filled, so a host must write zeros for what
    /// it cannot read: bad sectors, and sectors before the start or after the end of the medium.
    virtual std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) = 0;

    /// Slot 2: fills the caller's record. The result is ignored.
    virtual std::int32_t GetGeometry(SectorGeometry* geometry) = 0;
};
