#include "media/ChunkWalk.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr std::size_t MostMarks = 2048;
// Fewer steps are walked again as fast as they are found.
constexpr std::int64_t FewestStepsToRemember = 32;
// What a step costs besides the bytes that are fetched for it.
constexpr std::int64_t StepCost = 8;

}  // namespace

void ChunkWalk::Chain::Append(std::uint64_t place, std::uint64_t origin) {
    end = {place, end.step + 1};
    if (marks.empty() || end.step - marks.back().step >= spacing) {
        MakeRoom(origin);
        marks.push_back(end);
    }
}

// Marks in front of the origin go first; where that does not help, every second one.
void ChunkWalk::Chain::MakeRoom(std::uint64_t origin) {
    if (marks.size() < MostMarks) {
        return;
    }
    marks.erase(marks.begin(), std::ranges::lower_bound(marks, origin, {}, &Mark::place));
    while (marks.size() > MostMarks / 2) {
        for (std::size_t i = 0; 2 * i < marks.size(); ++i) {
            marks[i] = marks[2 * i];
        }
        marks.resize((marks.size() + 1) / 2);
        spacing *= 2;
    }
}

std::optional<ChunkWalk::Result> ChunkWalk::Walk(const Candidate& candidate, std::int64_t from, std::uint32_t steps,
                                                 std::int64_t limit, ChunkAt chunkAt) {
    const SectorBlock& block = candidate.block;
    if (block.source == nullptr) {
        return std::nullopt;
    }
    budget_.BeginWalk();
    // Otherwise a read may fail here that succeeds for another block.
    const bool mayRemember = KFileSimulator::Serves(block);
    const std::uint64_t origin =
        static_cast<std::uint64_t>(candidate.startSector) * static_cast<std::uint64_t>(block.sectorSize);
    const std::uint64_t start = origin + static_cast<std::uint64_t>(from);
    Walker walker{origin, start, steps, Chain(start), nullptr};
    walker.chain = mayRemember ? &walker.own : nullptr;

    KFileSimulator reader(&block, candidate.startSector, static_cast<std::uint64_t>(limit), &budget_);
    const auto position = [&] {
        return static_cast<std::int64_t>(walker.place - origin);
    };
    while (walker.steps > 0 && position() < limit && !budget_.IsExhausted()) {
        if (walker.chain == &walker.own && JoinChain(walker)) {
            continue;
        }
        if (walker.chain != nullptr && walker.chain->isWhole) {
            break;
        }
        budget_.Charge(StepCost);
        reader.Seek(position());
        const std::uint64_t chunkBytes = chunkAt(reader);
        if (chunkBytes == 0) {
            if (walker.chain != nullptr) {
                walker.chain->isWhole = true;
            }
            break;
        }
        walker.place += chunkBytes;
        --walker.steps;
        if (walker.chain != nullptr) {
            walker.chain->Append(walker.place, origin);
        }
    }
    if (walker.chain == &walker.own && walker.own.end.step >= FewestStepsToRemember) {
        chains_[next_] = std::move(walker.own);
        next_ = (next_ + 1) % ChainCount;
    }
    return budget_.IsExhausted() ? std::nullopt : std::optional<Result>({position(), walker.steps});
}

// Only where more lies ahead on a chain than the walk has behind it: a walk that comes to the end of a short chain may
// itself be the one to remember.
bool ChunkWalk::JoinChain(Walker& walker) {
    for (Chain& chain : chains_) {
        if (chain.marks.empty() || walker.place < chain.marks.front().place ||
            walker.place > chain.marks.back().place) {
            continue;
        }
        const auto mark = std::ranges::lower_bound(chain.marks, walker.place, {}, &Mark::place);
        if (mark->place == walker.place && chain.end.step - mark->step >= walker.own.end.step) {
            FollowChain(walker, chain, static_cast<std::size_t>(mark - chain.marks.begin()));
            return true;
        }
    }
    return false;
}

// Takes the walker, which stands at the mark, to the chain's end or to the last mark that its steps reach.
void ChunkWalk::FollowChain(Walker& walker, Chain& chain, std::size_t mark) {
    const std::int64_t from = chain.marks[mark].step;
    if (chain.end.step - from <= walker.steps) {
        walker.chain = &chain;
        walker.place = chain.end.place;
        walker.steps -= static_cast<std::uint32_t>(chain.end.step - from);
    } else {
        const auto behind = std::ranges::upper_bound(chain.marks, from + walker.steps, {}, &Mark::step);
        const Mark& last = *std::prev(behind);
        walker.chain = nullptr;
        walker.place = last.place;
        walker.steps -= static_cast<std::uint32_t>(last.step - from);
    }
    // The marks of the way to the chain may lie closer together than those that they replace.
    if (walker.own.end.step >= FewestStepsToRemember) {
        for (Mark& own : walker.own.marks) {
            own.step += from - walker.own.end.step;
        }
        const auto joined =
            chain.marks.erase(chain.marks.begin(), chain.marks.begin() + static_cast<std::ptrdiff_t>(mark));
        chain.marks.insert(joined, walker.own.marks.begin(), walker.own.marks.end());
        chain.MakeRoom(walker.origin);
    }
}
