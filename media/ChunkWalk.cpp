#include "media/ChunkWalk.h"

std::optional<ChunkWalk::Result> ChunkWalk::Walk(const Candidate& candidate, std::int64_t from, std::uint32_t steps,
                                                 std::int64_t limit, ChunkAt chunkAt) {
    using Stretch = Trail<ChunkFacts>::Stretch;
    if (candidate.block.source == nullptr) {
        return std::nullopt;
    }
    const auto readChunk = [&](KFileSimulator& reader, std::int64_t offset) -> std::optional<Stretch> {
        if (steps == 0) {
            return std::nullopt;
        }
        reader.Seek(offset);
        const auto bytes = static_cast<std::int64_t>(chunkAt(reader));
        if (bytes == 0) {
            return Stretch{.to = offset, .isEnd = true};
        }
        --steps;
        return Stretch{.to = offset + bytes, .facts = {1}};
    };
    const auto mayPass = [&](const Stretch& chunks) {
        const bool isEnough = chunks.facts.steps <= steps;
        steps -= isEnough ? chunks.facts.steps : 0;
        return isEnough;
    };
    const auto way = trail_.Walk(candidate, from, limit, readChunk, mayPass);
    return way ? std::optional<Result>({way->to, steps}) : std::nullopt;
}
