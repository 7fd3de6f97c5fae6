#pragma once

#include <cstdint>
#include <vector>

#include "frame/memory/ScanOffsets.h"
#include "frame/scan/SectorScan.h"

/// Where the first packet of a transport stream lies in its sector, and how far the packets are apart, in bytes: 188,
/// 192, 204 or 208.
struct PacketLayout {
    std::int32_t prefix;
    std::int32_t size;
};

/// Follows transport streams packet by packet. Streams whose packets lie on the same grid of places meet the same
/// packets, so each grid is walked once: a later candidate on it goes on where the walk before has ended.
class PacketGrids {
public:
    /// Forgets what is known of the medium.
    void Reset() { row_.Reset(); }

    void EnterBlock(const SectorBlock& block);

    struct Stream {
        /// Bytes from the start of the sector, the prefix among them.
        std::int64_t length;
        /// A packet of the program association table is among its packets.
        bool hasProgramTable;
    };
    /// The stream that begins at a candidate with this layout.
    Stream Measure(const Candidate& candidate, const PacketLayout& layout);

private:
    // The places in front of `to` are packets', as far back as the last candidate's first one.
    struct Grid {
        std::int64_t to = -1;
        std::int64_t lastProgramTable = -1;
        // No packet is at `to`.
        bool isBroken = false;
    };
    Grid& GridOf(std::int64_t place, std::int32_t size);

    ScanOffsets row_;
    // One for each place in a packet, for each size.
    std::vector<Grid> grids_;
};
