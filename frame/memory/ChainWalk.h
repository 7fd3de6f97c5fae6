#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

#include "frame/memory/ScanOffsets.h"
#include "frame/memory/WalkShortcuts.h"
#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/KFileSimulator.h"

/// What a record of a chain tells.
struct ChainRecord {
    enum class Kind {
        /// The next record begins `length` bytes on, or back where that is negative.
        LeadsOn,
        /// It is none: the chain ends in front of it.
        IsNone,
        /// The chain has no end that counts.
        IsBroken,
    };
    Kind kind;
    std::int64_t length = 0;
    /// The walk tells whether it came by a marked record.
    bool isMarked = false;
    /// False if the bytes could not be read, so that the record is not the same for every walk.
    bool wasRead = true;
};

/// What the records along a stretch of a chain tell together.
struct ChainFacts {
    bool hasMark = false;
    /// The chain ends behind them.
    bool hasEnd = false;
    /// The chain has no end, wherever a walk along it begins.
    bool isEndless = false;
    /// The lowest place that a record leads back to, as `WalkShortcuts` counts.
    std::int64_t lowest = std::numeric_limits<std::int64_t>::max();

    void Append(const ChainFacts& behind) {
        hasMark = hasMark || behind.hasMark;
        hasEnd = hasEnd || behind.hasEnd;
        isEndless = isEndless || behind.isEndless;
        lowest = std::min(lowest, behind.lowest);
    }
};

/// Walks chains of records from a candidate's first one to their end.
///
/// A walk ends where the chain does, or at the first record at or behind the limit. It finds nothing if the chain leads
/// to a place in front of the candidate or to one where it has been.
///
/// Walks of one scan share what they know through shortcuts: those serve the blocks of a scan, each of which continues
/// the one before. Where a walk goes on from a record depends on its own start by the limit and by the places in front
/// of it only, and the candidates of a scan ascend: a shortcut that an earlier walk left passes no place at or behind
/// the limit of a later one.
///
/// Made-up media can hold more chains than there is time to read: a walk that has used up the scan's `Budget` finds
/// nothing.
class ChainWalk {
public:
    struct End {
        /// In bytes from the start of the candidate.
        std::int64_t offset;
        bool hasMark;
    };

    /// Forgets what is known of the medium.
    void Reset();

    /// The walks to come start in this block.
    void EnterBlock(const SectorBlock& block);

    /// Walks from `first`, where the candidate's own record leads; both count from the start of the candidate, as
    /// `limit` does, which is at most 2^40 and the same for all walks of a scan. `isChained` tells that a walk which
    /// came by the candidate would go on from it to `first` too. `readRecord(reader, offset)` gives a `ChainRecord`.
    /// The block has a source.
    template <class ReadRecord>
    std::optional<End> Follow(const Candidate& candidate, std::int64_t first, bool isChained, std::int64_t limit,
                              ReadRecord&& readRecord) {
        KFileSimulator reader(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(limit), &budget_);
        Walk walk = Begin(candidate, first, isChained, limit);
        while (walk.state == State::Underway && walk.offset < limit && !budget_.IsExhausted()) {
            if (!TakeShortcut(walk)) {
                TakeStep(walk, readRecord(reader, walk.offset));
            }
        }
        return Finish(walk, limit);
    }

private:
    using Shortcuts = WalkShortcuts<ChainFacts, std::size_t{1} << 16>;

    enum class State { Underway, AtEnd, Broken, Endless };
    struct Walk {
        State state;
        /// The candidate's place in `row_`; `offset` counts from there.
        std::int64_t start;
        std::int64_t offset;
        bool hasMark;
        /// False once a record was not read.
        bool isShared;
        /// A place where the walk has been, the steps since and those after which another place is noted instead: a
        /// walk that goes round in circles comes by the noted place again.
        std::int64_t notedOffset;
        std::int64_t stepsSinceNote;
        std::int64_t stepsToNextNote;
    };

    Walk Begin(const Candidate& candidate, std::int64_t first, bool isChained, std::int64_t limit);
    bool TakeShortcut(Walk& walk);
    void TakeStep(Walk& walk, const ChainRecord& record);
    void GoOn(Walk& walk, const Shortcuts::Shortcut& step, bool isShortcut);
    std::optional<End> Finish(const Walk& walk, std::int64_t limit);

    ScanOffsets row_;
    std::int64_t limit_ = 0;
    Budget budget_;
    Shortcuts shortcuts_;
};
