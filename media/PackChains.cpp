#include "media/PackChains.h"

#include <algorithm>
#include <utility>

#include "frame/read/KFileSimulator.h"
#include "media/BlockReader.h"

namespace {

// The last byte of a start code 00 00 01: a pack's, and above it those of system headers and packets.
constexpr std::uint8_t PackStart = 0xBA;
constexpr std::int64_t PackHeaderBytes = 14;
constexpr std::int64_t PacketHeaderBytes = 6;

constexpr std::int64_t WindowBytes = 0x4000;
// Twice as many as lie ahead of a candidate.
constexpr std::size_t MostLandmarks = (std::size_t{2} << 32U) / WindowBytes;
// How far a first look goes.
constexpr int LookItems = 32;

struct Item {
    std::int64_t bytes;
    bool isPacket;
};

// The pack header or packet at the reader's position. System headers have the form of a packet and count as one.
template <class Reader>
std::optional<Item> ReadItem(Reader& reader) {
    std::array<std::uint8_t, 4> start{};
    reader.Read(start.data(), start.size());
    if (start[0] != 0 || start[1] != 0 || start[2] != 1 || start[3] < PackStart) {
        return std::nullopt;
    }
    if (start[3] == PackStart) {
        std::array<std::uint8_t, PackHeaderBytes - 4> rest{};
        reader.Read(rest.data(), rest.size());
        // Only the packs of MPEG-2 begin with the bits 01; the stuffing's length stands behind five bits of ones.
        if (rest.front() >> 6U != 1 || rest.back() >> 3U != 0x1F) {
            return std::nullopt;
        }
        return Item{PackHeaderBytes + (rest.back() & 7), false};
    }
    std::array<std::uint8_t, 2> length{};
    reader.Read(length.data(), length.size());
    return Item{PacketHeaderBytes + LoadBig<std::uint16_t>(length, 0), true};
}

}  // namespace

bool PackChains::BreaksInBlock(const Candidate& candidate) {
    BlockReader reader(candidate);
    std::int64_t position = 0;
    std::int64_t packets = 0;
    for (int i = 0; i < LookItems && packets < CountedPackets; ++i) {
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

void PackChains::EnterBlock(const SectorBlock& block) {
    if (!row_.Enter(block)) {
        chains_.clear();
    }
}

PackChains::Stream PackChains::Measure(const Candidate& candidate, std::int64_t lengthLimit) {
    if (lengthLimit_ != lengthLimit) {
        chains_.clear();
        lengthLimit_ = lengthLimit;
    }
    const std::int64_t start = row_.PlaceOf(candidate.startSector);
    KFileSimulator reader(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(lengthLimit));
    Chain own(start);
    Chain* chain = &own;
    std::int64_t packets = 0;
    std::int64_t window = -1;
    while (!chain->isBroken && chain->to - start <= lengthLimit) {
        const std::int64_t place = chain->to;
        if (place / WindowBytes != window) {
            Chain* const known = chain == &own ? ChainThrough(place) : nullptr;
            if (known != nullptr) {
                known->ForgetBefore(start);
                packets += known->PacketsFrom(place);
                window = known->landmarks.back() / WindowBytes;
                chain = known;
                continue;
            }
            window = place / WindowBytes;
            chain->landmarks.push_back(place);
        }
        reader.Seek(place - start);
        const std::optional<Item> item = ReadItem(reader);
        if (!item) {
            chain->isBroken = true;
            break;
        }
        if (item->isPacket) {
            chain->AddPacket(place);
            ++packets;
        }
        chain->to += item->bytes;
    }
    const std::int64_t length = chain->to - start;
    // A short walk is as soon done again.
    if (chain == &own && own.landmarks.size() > 1) {
        Keep(std::move(own));
    }
    return {length, packets};
}

std::int64_t PackChains::Chain::PacketsFrom(std::int64_t place) const {
    const auto kept = std::min<std::int64_t>(packets, CountedPackets);
    return std::count_if(lastPackets.begin(), lastPackets.begin() + kept,
                         [place](std::int64_t packet) { return packet >= place; });
}

void PackChains::Chain::AddPacket(std::int64_t place) {
    lastPackets[static_cast<std::size_t>(packets % CountedPackets)] = place;
    ++packets;
}

void PackChains::Chain::ForgetBefore(std::int64_t start) {
    if (landmarks.size() > MostLandmarks) {
        landmarks.erase(landmarks.begin(), std::ranges::lower_bound(landmarks, start));
    }
}

PackChains::Chain* PackChains::ChainThrough(std::int64_t place) {
    const auto known = std::ranges::find_if(
        chains_, [place](const Chain& chain) { return std::ranges::binary_search(chain.landmarks, place); });
    return known == chains_.end() ? nullptr : &*known;
}

void PackChains::Keep(Chain&& chain) {
    if (chains_.size() < MostChains) {
        chains_.push_back(std::move(chain));
        return;
    }
    chains_[oldest_ % MostChains] = std::move(chain);
    ++oldest_;
}
