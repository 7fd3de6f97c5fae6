#include "media/KMtsFileType.h"

#include <algorithm>

#include "frame/KFileSimulator.h"

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr std::uint8_t SyncByte = 0x47;
constexpr std::int32_t TimeStampBytes = 4;
constexpr std::int32_t PacketSizes[] = {188, 192, 204, 208};

// The sync byte that comes first decides where the packets begin; the other is not tried.
std::optional<PacketLayout> LayoutOf(ByteSpan sector) {
    const std::int32_t prefix = sector[0] == SyncByte ? 0 : TimeStampBytes;
    for (const std::int32_t size : PacketSizes) {
        if (sector[static_cast<std::size_t>(prefix) + static_cast<std::size_t>(size)] == SyncByte) {
            return PacketLayout{prefix, size};
        }
    }
    return std::nullopt;
}

// Tells from the bytes of the block alone that there are too few packets.
bool BreaksInBlock(const Candidate& candidate, const PacketLayout& layout) {
    const ByteSpan bytes = candidate.RestOfBlock();
    for (auto at = static_cast<std::size_t>(layout.prefix); at < KMtsFileType::MinReportLength && at < bytes.size();
         at += static_cast<std::size_t>(layout.size)) {
        if (bytes[at] != SyncByte) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::int32_t KMtsFileType::Reset() {
    last_ = {0, 0};
    return RememberingScanner::Reset();
}

bool KMtsFileType::IsHeader(ByteSpan sector) {
    return sector.size() >= MinSectorBytes &&
           (sector[0] == SyncByte || sector[static_cast<std::size_t>(TimeStampBytes)] == SyncByte);
}

std::optional<std::int64_t> KMtsFileType::Measure(const Candidate& candidate) {
    if (IsInLastReport(candidate) || !KFileSimulator::Serves(candidate.block)) {
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
    last_ = {candidate.startSector, std::min(stream.length, run_.maxSize)};
    return stream.length;
}

// All sectors in front of the last one of the report count as inside.
bool KMtsFileType::IsInLastReport(const Candidate& candidate) const {
    if (last_.startSector <= 0) {
        return false;
    }
    const std::int64_t sectorSize = candidate.block.sectorSize;
    const std::int64_t sectors = last_.size / sectorSize + (last_.size % sectorSize > 0 ? 1 : 0);
    const std::uint64_t end = static_cast<std::uint64_t>(last_.startSector) + static_cast<std::uint64_t>(sectors);
    return candidate.startSector < static_cast<std::int64_t>(end);
}
