#include "media/KVOBFileType.h"

#include <algorithm>
#include <array>
#include <limits>

#include "media/BlockReader.h"

namespace {

using namespace ProgramStream;

// Lengths are counted in 32 bits and compared with the cap as signed numbers, so no stream passes a cap of 2 GiB or
// more. A stream is followed up to where another packet could make the count wrap around.
constexpr std::int64_t LongestStream = 0xFFFE0000;
constexpr std::int64_t LargestPassableCap = std::numeric_limits<std::int32_t>::max();

constexpr std::int64_t FewestPackets = 10;
// Packs and packets in a first look.
constexpr int LookItems = 32;

struct Item {
    std::int64_t bytes;
    bool isPacket;
};

// The pack header or packet at the reader's position. System headers count as packets.
template <class Reader>
std::optional<Item> ReadItem(Reader& reader) {
    std::array<std::uint8_t, Mpeg2PackBytes> header{};
    const auto readUpTo = [&](std::size_t from, std::size_t to) {
        reader.Read(header.data() + from, static_cast<std::uint32_t>(to - from));
    };
    readUpTo(0, StartCodeBytes);
    if (!StartsWith(header, StartCodePrefix) || header[3] < PackCode) {
        return std::nullopt;
    }
    if (header[3] == PackCode) {
        readUpTo(StartCodeBytes, Mpeg2PackBytes);
        const std::optional<Pack> pack = ReadPack(header);
        return pack && pack->isMpeg2 && pack->hasReservedBits ? std::optional(Item{pack->bytes, false}) : std::nullopt;
    }
    readUpTo(StartCodeBytes, PacketHeaderBytes);
    const auto length = LoadBig<std::uint16_t>(header, StartCodeBytes);
    return Item{static_cast<std::int64_t>(PacketHeaderBytes) + length, true};
}

// True if the block's bytes alone show that the stream ends after too few packets.
bool BreaksInBlock(const Candidate& candidate) {
    BlockReader reader(candidate);
    std::int64_t position = 0;
    std::int64_t packets = 0;
    for (int i = 0; i < LookItems && packets < FewestPackets; ++i) {
        reader.Seek(position);
        const std::optional<Item> item = ReadItem(reader);
        if (reader.RanOut()) {
            return false;
        }
        if (!item) {
            return true;
        }
        position += item->bytes;
        packets += item->isPacket ? 1 : 0;
    }
    return false;
}

}  // namespace

void PacketCount::Append(const PacketCount& behind) { packets = std::min(packets + behind.packets, FewestPackets); }

std::optional<std::int64_t> KVOBFileType::Measure(const Candidate& candidate) {
    if (lastFile_.Continues(candidate.startSector) || run_.maxSize < 0 || !KFileSimulator::Serves(candidate.block) ||
        BreaksInBlock(candidate)) {
        return std::nullopt;
    }
    // A longer stream ends with the first packet that passes the limit.
    const std::int64_t lengthLimit = run_.maxSize < LargestPassableCap ? run_.maxSize : LongestStream;
    const auto stream = memory_.Walk(candidate, 0, lengthLimit + 1, [](KFileSimulator& reader, std::int64_t offset) {
        reader.Seek(offset);
        const std::optional<Item> item = ReadItem(reader);
        return item ? Trail<PacketCount>::Stretch{.to = offset + item->bytes, .facts = {item->isPacket ? 1 : 0}}
                    : Trail<PacketCount>::Stretch{.to = offset, .isEnd = true};
    });
    if (stream->facts.packets < FewestPackets || stream->to < MinReportLength) {
        return std::nullopt;
    }
    // 32 bits wrap around for a stream of nearly 4 GiB in large sectors.
    const auto sectorSize = static_cast<std::uint32_t>(candidate.block.sectorSize);
    lastFile_.Set(candidate.startSector, (static_cast<std::uint32_t>(stream->to) - 1 + sectorSize) / sectorSize);
    return stream->to;
}
