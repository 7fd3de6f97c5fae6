#include "frame/memory/ChainWalk.h"

namespace {

// What each step costs besides the bytes that are read for it.
constexpr std::int64_t StepCost = 8;

// Unsigned, as a hostile record may lead close to the end of the 64-bit range.
std::int64_t Sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
std::int64_t Difference(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

}  // namespace

void ChainWalk::Reset() {
    shortcuts_.Clear();
    row_.Reset();
    budget_.Reset();
}

void ChainWalk::EnterBlock(const SectorBlock& block) {
    budget_.EnterBlock(block);
    if (!row_.Enter(block)) {
        shortcuts_.Clear();
    }
}

ChainWalk::Walk ChainWalk::Begin(const Candidate& candidate, std::int64_t first, bool isChained, std::int64_t limit) {
    if (limit != limit_) {
        shortcuts_.Clear();
        limit_ = limit;
    }
    budget_.BeginWalk();
    const std::int64_t start = row_.PlaceOf(candidate.startSector);
    if (isChained) {
        shortcuts_.BeginWalkBehind(start, Sum(start, first));
    } else {
        shortcuts_.BeginWalk();
    }
    return Walk{.state = State::Underway,
                .start = start,
                .offset = first,
                .hasMark = false,
                .isShared = true,
                .notedOffset = first,
                .stepsSinceNote = 0,
                .stepsToNextNote = 1};
}

bool ChainWalk::TakeShortcut(Walk& walk) {
    const Shortcuts::Shortcut* const shortcut = walk.isShared ? shortcuts_.Find(Sum(walk.start, walk.offset)) : nullptr;
    if (shortcut == nullptr) {
        return false;
    }
    GoOn(walk, *shortcut, true);
    return true;
}

void ChainWalk::TakeStep(Walk& walk, const ChainRecord& record) {
    budget_.Charge(StepCost);
    walk.isShared = walk.isShared && record.wasRead;
    if (record.kind != ChainRecord::Kind::LeadsOn) {
        walk.state = record.kind == ChainRecord::Kind::IsNone ? State::AtEnd : State::Broken;
        return;
    }
    const std::int64_t to = Sum(Sum(walk.start, walk.offset), record.length);
    const ChainFacts facts{.hasMark = record.isMarked,
                           .lowest = record.length < 0 ? to : std::numeric_limits<std::int64_t>::max()};
    GoOn(walk, {to, facts}, false);
}

void ChainWalk::GoOn(Walk& walk, const Shortcuts::Shortcut& step, bool isShortcut) {
    if (step.facts.isEndless || step.facts.lowest < walk.start) {
        walk.state = State::Endless;
        return;
    }
    shortcuts_.Pass(Sum(walk.start, walk.offset), step, isShortcut);
    walk.hasMark = walk.hasMark || step.facts.hasMark;
    walk.offset = Difference(step.to, walk.start);
    if (step.facts.hasEnd) {
        walk.state = State::AtEnd;
    } else if (walk.offset == walk.notedOffset) {
        walk.state = State::Endless;
    } else if (++walk.stepsSinceNote == walk.stepsToNextNote) {
        walk.notedOffset = walk.offset;
        walk.stepsSinceNote = 0;
        walk.stepsToNextNote *= 2;
    }
}

std::optional<ChainWalk::End> ChainWalk::Finish(const Walk& walk, std::int64_t limit) {
    if (walk.isShared) {
        shortcuts_.EndWalk(walk.start, Sum(walk.start, walk.offset),
                           ChainFacts{.hasEnd = walk.state == State::AtEnd, .isEndless = walk.state == State::Endless});
    }
    const bool hasEnd = walk.state == State::AtEnd || (walk.state == State::Underway && walk.offset >= limit);
    return hasEnd ? std::optional<End>({walk.offset, walk.hasMark}) : std::nullopt;
}
