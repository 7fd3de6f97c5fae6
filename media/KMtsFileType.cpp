#include "media/KMtsFileType.h"

#include <algorithm>

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr std::int32_t TimeStampBytes = 4;
constexpr std::int64_t LengthLimit = 0x7FFFF000;

// Where the first packet begins, and the number of the packets' size.
struct PacketLayout {
    std::int32_t prefix;
    std::size_t size;
};

// The sync byte that comes first decides where the packets begin; the other is not tried.
std::optional<PacketLayout> LayoutOf(ByteSpan sector) {
    const std::int32_t prefix = sector[0] == KMtsFileType::SyncByte ? 0 : TimeStampBytes;
    for (std::size_t size = 0; size < TransportTrails::PacketSizes.size(); ++size) {
        if (sector[static_cast<std::size_t>(prefix + TransportTrails::PacketSizes[size])] == KMtsFileType::SyncByte) {
            return PacketLayout{prefix, size};
        }
    }
    return std::nullopt;
}

// The bytes of the block alone show that there are too few packets.
bool BreaksInBlock(const Candidate& candidate, const PacketLayout& layout) {
    const ByteSpan bytes = candidate.RestOfBlock();
    const auto step = static_cast<std::size_t>(TransportTrails::PacketSizes[layout.size]);
    for (auto at = static_cast<std::size_t>(layout.prefix); at < KMtsFileType::MinReportLength && at < bytes.size();
         at += step) {
        if (bytes[at] != KMtsFileType::SyncByte) {
            return true;
        }
    }
    return false;
}

// The packet identifier, 13 bits, is 0.
bool IsProgramTable(const std::array<std::uint8_t, 4>& header) { return (header[1] & 0x1FU) == 0 && header[2] == 0; }

}  // namespace

Trail<TransportTrails::Facts>::Stretch TransportTrails::Measure(const Candidate& candidate, std::int32_t prefix,
                                                                std::size_t size) {
    const auto readPacket = [step = PacketSizes[size]](KFileSimulator& reader, std::int64_t offset) {
        std::array<std::uint8_t, 4> header{};
        reader.Seek(offset);
        reader.Read(header.data(), header.size());
        const bool isEnd = header[0] != KMtsFileType::SyncByte;
        return Trail<Facts>::Stretch{.to = isEnd ? offset : offset + step,
                                     .facts = {.hasProgramTable = !isEnd && IsProgramTable(header)},
                                     .isEnd = isEnd};
    };
    // No budget that could be used up.
    return *trails_[size].Walk(candidate, prefix, LengthLimit, readPacket);
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
    const auto stream = memory_.Measure(candidate, layout->prefix, layout->size);
    if (!stream.facts.hasProgramTable || stream.to < MinReportLength) {
        return std::nullopt;
    }
    lastFile_.Set(candidate.startSector,
                  LastFile::SectorsOf(std::min<std::int64_t>(stream.to, run_.maxSize), candidate.block.sectorSize));
    return stream.to;
}
