#include "media/PacketGrids.h"

#include <array>

#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::int64_t LengthLimit = 0x7FFFF000;
constexpr std::uint8_t SyncByte = 0x47;
// The sizes are 188 to 208 bytes, in steps of 4.
constexpr std::int32_t SmallestPacket = 188;
constexpr std::int32_t LargestPacket = 208;
constexpr std::int32_t SizeStep = 4;

// The packet identifier, 13 bits, is 0.
bool IsProgramTable(const std::array<std::uint8_t, 4>& header) { return (header[1] & 0x1FU) == 0 && header[2] == 0; }

}  // namespace

void PacketGrids::EnterBlock(const SectorBlock& block) {
    if (!row_.Enter(block)) {
        grids_.clear();
    }
}

PacketGrids::Grid& PacketGrids::GridOf(std::int64_t place, std::int32_t size) {
    constexpr std::int32_t sizes = (LargestPacket - SmallestPacket) / SizeStep + 1;
    grids_.resize(std::size_t{sizes} * LargestPacket);
    const std::int64_t row = (size - SmallestPacket) / SizeStep;
    return grids_[static_cast<std::size_t>(row * LargestPacket + place % size)];
}

PacketGrids::Stream PacketGrids::Measure(const Candidate& candidate, const PacketLayout& layout) {
    const std::int64_t start = row_.PlaceOf(candidate.startSector);
    const std::int64_t first = start + layout.prefix;
    Grid& grid = GridOf(first, layout.size);
    // Candidates come in ascending order, so what lies within the limit of one lies within that of the next.
    if (first > grid.to) {
        grid = {.to = first};
    }
    if (!grid.isBroken && grid.to - start < LengthLimit) {
        KFileSimulator reader(&candidate.block, candidate.startSector, LengthLimit);
        reader.Seek(grid.to - start);
        while (grid.to - start < LengthLimit) {
            std::array<std::uint8_t, 4> header{};
            reader.Read(header.data(), header.size());
            if (header[0] != SyncByte) {
                grid.isBroken = true;
                break;
            }
            if (IsProgramTable(header)) {
                grid.lastProgramTable = grid.to;
            }
            grid.to += layout.size;
            reader.Skip(layout.size - static_cast<std::int64_t>(header.size()));
        }
    }
    return {grid.to - start, grid.lastProgramTable >= first};
}
