#pragma once

#include <cstdint>

class ISectorSource;

/// One run of consecutive sectors of the scanned stream, handed to `IRawFileType::ScanBlock`.
///
/// Owned by the host and read-only to the scanner; the record and the bytes behind `data` are borrowed for the
/// duration of one call.
struct SectorBlock {
    /// Absolute number of the block's first sector in the scanned stream. The shared engines skip a first block with
    /// the number 0, so a host that wants the start of a medium examined numbers its first sector 1.
    std::int64_t firstSector;
    /// The block's bytes; sector i (from 0) begins at `data + i * sectorSize`. Null only with a `sectorCount` of 0.
    const std::uint8_t* data;
    /// Number of sectors in the block; below 1 makes `ScanBlock` return at once.
    std::int32_t sectorCount;
    /// Bytes per sector, constant for a scan.
    std::int32_t sectorSize;
    /// The host's sector reader, for sectors before and after the block. Owned by the host.
    ISectorSource* source;
};
