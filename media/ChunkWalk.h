#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "frame/memory/BudgetedTrail.h"

/// The chunks of a stretch.
struct ChunkFacts {
    std::uint32_t steps = 0;

    // No walk takes more than 2^32 - 1.
    void Append(const ChunkFacts& behind) { steps += behind.steps; }
};

/// Walks files that are a chain of chunks, each of which declares its own length. The scan's `Budget` bounds the cost.
class ChunkWalk : public BudgetedTrail<ChunkFacts> {
public:
    /// Bytes of the chunk that begins at the reader's position, 0 if no chunk begins there. Depends on the medium's
    /// bytes only.
    using ChunkAt = std::uint64_t (*)(KFileSimulator& reader);

    struct Result {
        /// The end of the last chunk, in bytes from the candidate's start.
        std::int64_t position;
        /// How many of the steps asked for were not taken.
        std::uint32_t stepsLeft;
    };

    static constexpr std::int64_t NoLimit = std::numeric_limits<std::int64_t>::max();

    /// Takes up to `steps` chunks from byte `from` of the candidate on, but none that begins at or after `limit`.
    /// Nothing if the budget was used up, or if the block has no source.
    std::optional<Result> Walk(const Candidate& candidate, std::int64_t from, std::uint32_t steps, std::int64_t limit,
                               ChunkAt chunkAt);
};
