#include "media/KMtsFileType.h"

#include <algorithm>

#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr std::int32_t TimeStampBytes = 4;
constexpr std::int32_t PacketSizes[] = {188, 192, 204, 208};

// The sync byte that comes first decides where the packets begin; the other is not tried.
std::optional<PacketLayout> LayoutOf(ByteSpan sector) {
    const std::int32_t prefix = sector[0] == KMtsFileType::SyncByte ? 0 : TimeStampBytes;
    for (const std::int32_t size : PacketSizes) {
        if (sector[static_cast<std::size_t>(prefix) + static_cast<std::size_t>(size)] == KMtsFileType::SyncByte) {
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
        if (bytes[at] != KMtsFileType::SyncByte) {
            return true;
        }
    }
    return false;
}

}  // namespace

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
