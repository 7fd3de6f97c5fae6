#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "frame/read/Budget.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

/// Walks files that are a chain of chunks, each of which says its own length.
///
/// It remembers the last 32 long chains of a scan: of each its end and up to 2,048 places on the way. A walk that meets
/// one of these places goes on from the chain's end, or from the last place in front of where its steps run out,
/// without reading what lies between. So headers in a row that open the same long chain cost little more than one.
/// Media made of more long chains than that are not read to the end of each: a walk that has used up the scan's
/// `Budget` is broken off.
class ChunkWalk {
public:
    /// Bytes of the chunk that begins at the reader's position, 0 if no chunk begins there. Depends on the medium's
    /// bytes only.
    using ChunkAt = std::uint64_t (*)(KFileSimulator& reader);

    struct Result {
        /// Behind the last chunk, in bytes from the candidate's start.
        std::int64_t position;
        /// Steps that were not taken.
        std::uint32_t stepsLeft;
    };

    static constexpr std::int64_t NoLimit = std::numeric_limits<std::int64_t>::max();

    /// Takes up to `steps` chunks from byte `from` of the candidate on. Stops at a chunk that begins at `limit` or
    /// behind; a walk that goes on from a remembered place may pass the limit by further chunks. Nothing if the walk
    /// was broken off for what it costs, or if the block has no source.
    std::optional<Result> Walk(const Candidate& candidate, std::int64_t from, std::uint32_t steps, std::int64_t limit,
                               ChunkAt chunkAt);

    /// Forgets all chains: another scan begins.
    void Reset() {
        chains_ = {};
        budget_.Reset();
    }
    void EnterBlock(const SectorBlock& block) { budget_.EnterBlock(block); }

private:
    // A place is a byte position in the stream, modulo 2^64; the step counts from anywhere on the same chain.
    struct Mark {
        std::uint64_t place = 0;
        std::int64_t step = 0;
    };
    struct Chain {
        explicit Chain(std::uint64_t start) : marks{{start, 0}}, end{start, 0} {}
        Chain() = default;
        /// `origin`: no walk to come asks for a place in front of this one.
        void Append(std::uint64_t place, std::uint64_t origin);
        void MakeRoom(std::uint64_t origin);

        std::vector<Mark> marks;
        std::int64_t spacing = 1;
        Mark end;
        // No chunk begins at the end.
        bool isWhole = false;
    };
    // A walk on its way: `steps` are left, and `chain` is the one that it stands at the end of and makes longer.
    struct Walker {
        std::uint64_t origin;
        std::uint64_t place;
        std::uint32_t steps;
        Chain own;
        Chain* chain;
    };
    bool JoinChain(Walker& walker);
    static void FollowChain(Walker& walker, Chain& chain, std::size_t mark);

    static constexpr std::size_t ChainCount = 32;
    std::array<Chain, ChainCount> chains_;
    std::size_t next_ = 0;
    Budget budget_;
};
