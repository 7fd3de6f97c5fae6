#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "frame/memory/LastFile.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/scan/RememberingScanner.h"

/// Where the first packet of a transport stream lies in its sector, and how far the packets are apart, in bytes: 188,
/// 192, 204 or 208.
struct PacketLayout {
    std::int32_t prefix;
    std::int32_t size;
};

/// Follows transport streams packet by packet. Packets are equally far apart and so lie on a grid. Each grid is walked
/// once: a later candidate on it goes on where the last walk ended.
class PacketGrids {
public:
    void Reset() { offsets_.Reset(); }
    void EnterBlock(const SectorBlock& block);
    /// Grids only save reading.
    static bool IsAtRest() { return true; }

    struct Stream {
        /// Bytes from the start of the sector, the prefix among them.
        std::int64_t length;
        /// A packet of the program association table is among its packets.
        bool hasProgramTable;
    };
    /// The stream that begins at a candidate with this layout.
    Stream Measure(const Candidate& candidate, const PacketLayout& layout);

private:
    // Packets begin at all places from the last candidate's first packet up to `to`, which is left out.
    struct Grid {
        std::int64_t to = -1;
        std::int64_t lastProgramTable = -1;
        // No packet is at `to`.
        bool isBroken = false;
    };
    Grid& GridOf(std::int64_t place, std::int32_t size);

    ScanOffsets offsets_;
    // For each packet size, one for each offset in a packet.
    std::vector<Grid> grids_;
};

/// MPEG transport streams of packets 188, 192, 204 or 208 bytes apart, with or without a time stamp before each:
/// packet by packet to the first place without a sync byte. Source: ISO/IEC 13818-1, section 2.4.3.
class KMtsFileType final : public RememberingScanner<KMtsFileType, PacketGrids> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mts];
    static constexpr std::uint8_t SyncByte = 0x47;
    /// A packet, or one after its time stamp of 4 bytes.
    static constexpr AnySectorFilter Filter{SectorFilterOf(Pattern<1>{SyncByte}),
                                            SectorFilterOf(Pattern<1>{SyncByte}, 4)};
    static constexpr std::int64_t MinReportLength = 18800;

    std::int32_t Reset() override;

    bool RestsAt(std::int64_t nextSector) const {
        return lastFile_.EndsBy(nextSector) && RememberingScanner::RestsAt(nextSector);
    }

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);

private:
    LastFile lastFile_;
};
