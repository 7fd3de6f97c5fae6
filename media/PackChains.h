#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "frame/memory/ScanOffsets.h"
#include "frame/scan/SectorScan.h"

/// Follows MPEG-2 program streams from pack header to pack header, and from packet to packet. What follows a place does
/// not depend on how a walk came there, so the latest long walks are kept: one that meets a place where one of them has
/// been goes on where that has ended.
class PackChains {
public:
    /// Forgets what is known of the medium.
    void Reset() { row_.Reset(); }

    void EnterBlock(const SectorBlock& block);

    /// Tells from the bytes of the block alone that the candidate's stream ends in front of the packets counted.
    static bool BreaksInBlock(const Candidate& candidate);

    struct Stream {
        /// In bytes.
        std::int64_t length;
        /// Packets, not counted further than a few.
        std::int64_t packets;
    };
    /// Packets that a stream is counted to at least.
    static constexpr std::int64_t CountedPackets = 10;
    /// The stream that begins at the candidate. A stream longer than `lengthLimit`, at most 4 GiB, ends with the first
    /// packet that passes it.
    Stream Measure(const Candidate& candidate, std::int64_t lengthLimit);

private:
    // Places where headers begin, one behind the other. Candidates come in ascending order, so what lies within the
    // length limit of one lies within that of the next.
    struct Chain {
        explicit Chain(std::int64_t start) : to(start) {}

        std::int64_t to;
        // No header is at `to`.
        bool isBroken = false;
        // The last few packets, in a ring, and how many there were.
        std::array<std::int64_t, CountedPackets> lastPackets{};
        std::int64_t packets = 0;
        // In each window that the chain has entered, its first place there, in ascending order.
        std::vector<std::int64_t> landmarks;

        std::int64_t PacketsFrom(std::int64_t place) const;
        void AddPacket(std::int64_t place);
        void ForgetBefore(std::int64_t start);
    };
    Chain* ChainThrough(std::int64_t place);
    void Keep(Chain&& chain);

    ScanOffsets row_;
    std::int64_t lengthLimit_ = 0;
    // A header needs more than 4 bytes of which another one begins, so not more than these can run through the same
    // pack headers without meeting.
    static constexpr std::size_t MostChains = 4;
    std::vector<Chain> chains_;
    std::size_t oldest_ = 0;
};
