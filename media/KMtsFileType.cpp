#include "media/KMtsFileType.h"

#include <algorithm>
#include <array>

#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr std::int32_t TimeStampBytes = 4;
constexpr std::int64_t LengthLimit = 0x7FFFF000;

constexpr std::array<std::int32_t, 4> PacketSizes{188, 192, 204, 208};

// The first sync byte decides where the packets begin; there is no second try.
std::optional<PacketLayout> LayoutOf(ByteSpan sector) {
    const std::int32_t prefix = sector[0] == KMtsFileType::SyncByte ? 0 : TimeStampBytes;
    for (const std::int32_t size : PacketSizes) {
        if (sector[static_cast<std::size_t>(prefix) + static_cast<std::size_t>(size)] == KMtsFileType::SyncByte) {
            return PacketLayout{prefix, size};
        }
    }
    return std::nullopt;
}

// True if the block's bytes alone show that there are too few packets.
bool BreaksInBlock(const Candidate& candidate, const PacketLayout& layout) {
    const ByteSpan bytes = candidate.RestOfBlock();
    for (auto at = static_cast<std::size_t>(layout.prefix); at < KMtsFileType::MinReportLength && at < bytes.size();
         at += static_cast<std::size_t>(layout.size)) {
        if (bytes[at] != KMtsFileType::SyncByte) {
            return true;
        }
    }
    return false;
}

// The program association table has the packet identifier 0, a field of 13 bits.
bool IsProgramTable(const std::array<std::uint8_t, 4>& header) { return (header[1] & 0x1FU) == 0 && header[2] == 0; }

}  // namespace

void PacketGrids::EnterBlock(const SectorBlock& block) {
    if (!offsets_.Enter(block)) {
        grids_.clear();
    }
}

PacketGrids::Grid& PacketGrids::GridOf(std::int64_t place, std::int32_t size) {
    grids_.resize(PacketSizes.size() * PacketSizes.back());
    const auto row = static_cast<std::size_t>(std::ranges::find(PacketSizes, size) - PacketSizes.begin());
    return grids_[row * PacketSizes.back() + static_cast<std::size_t>(place % size)];
}

PacketGrids::Stream PacketGrids::Measure(const Candidate& candidate, const PacketLayout& layout) {
    const std::int64_t start = offsets_.PlaceOf(candidate.startSector);
    const std::int64_t first = start + layout.prefix;
    Grid& grid = GridOf(first, layout.size);
    // Candidates come in ascending order, so each one's limit lies at or after the previous one's.
    if (first > grid.to) {
        grid = {.to = first};
    }
    if (!grid.isBroken && grid.to - start < LengthLimit) {
        KFileSimulator reader(&candidate.block, candidate.startSector, LengthLimit);
        for (; !grid.isBroken && grid.to - start < LengthLimit; grid.to += grid.isBroken ? 0 : layout.size) {
            std::array<std::uint8_t, 4> header{};
            reader.Seek(grid.to - start);
            reader.Read(header.data(), header.size());
            grid.isBroken = header[0] != KMtsFileType::SyncByte;
            if (!grid.isBroken && IsProgramTable(header)) {
                grid.lastProgramTable = grid.to;
            }
        }
    }
    return {grid.to - start, grid.lastProgramTable >= first};
}

std::int32_t KMtsFileType::Reset() {
    lastFile_.Reset();
    return RememberingScanner::Reset();
}

bool KMtsFileType::IsHeader(ByteSpan sector) {
    return sector.size() >= MinSectorBytes &&
           (sector[0] == SyncByte || sector[static_cast<std::size_t>(TimeStampBytes)] == SyncByte);
}

std::optional<std::int64_t> KMtsFileType::Measure(const Candidate& candidate) {
    if (lastFile_.ReachesBeyond(candidate.startSector) || !KFileSimulator::Serves(candidate.block)) {
        return std::nullopt;
    }
    const std::optional<PacketLayout> layout = LayoutOf(candidate.sector);
    if (!layout || BreaksInBlock(candidate, *layout)) {
        return std::nullopt;
    }
    const PacketGrids::Stream stream = memory_.Measure(candidate, *layout);
    if (!stream.hasProgramTable || stream.length < MinReportLength) {
        return std::nullopt;
    }
    lastFile_.Set(candidate.startSector,
                  LastFile::SectorsOf(std::min<std::int64_t>(stream.length, run_.maxSize), candidate.block.sectorSize));
    return stream.length;
}
