#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "frame/memory/ScanOffsets.h"
#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/KFileSimulator.h"
#include "frame/read/SharedReader.h"

/// Lets the walks of one scan share what they have read, for formats in which each record gives the offset of the next.
/// A walk that meets an earlier one takes over its end and its facts, or goes on from there.
///
/// A walk leaves marks, all of which lead to the end of one chain: one where it began, one in each window of the medium
/// that it entered, and some where a walk from a later sector would begin. The windows lie at fixed places and grow
/// with the distance, so walks along the same records meet the same marks, and a long walk leaves only a few hundred. A
/// walk that meets a mark adds its own marks to that chain, and extends the chain if its limit lies further on.
///
/// `Facts` sums up the records of a stretch; `void Append(const Facts& behind)` adds those of the stretch behind it.
/// The first windows have 2^`FirstWindowBits` bytes. There is room for 2^`MarkBits` marks; a walk of 256 MiB leaves a
/// few hundred.
template <class Facts, int FirstWindowBits = 12, int MarkBits = 15>
class Trail {
public:
    /// One record, or several in a row.
    struct Stretch {
        /// Where the next record begins, in bytes from the start of the candidate.
        std::int64_t to;
        Facts facts{};
        /// No record that counts follows.
        bool isEnd = false;
    };

    /// The budget, if any, bounds what the walks cost and outlives the trail.
    explicit Trail(Budget* budget = nullptr) : budget_(budget) {}

    /// Forgets what is known of the medium.
    void Reset() {
        offsets_.Reset();
        reader_.Reset();
    }

    /// Always true: what a trail knows only saves reading, and the budget answers for itself.
    static bool IsAtRest() { return true; }

    /// Forgets everything if the block does not continue the previous one. The block outlives its walks.
    void EnterBlock(const SectorBlock& block) {
        reader_.EnterBlock(block);
        if (!offsets_.Enter(block)) {
            Forget();
        }
    }

    /// Walks from `from` to the first record that begins at or after `limit`, or to where no record follows. Both
    /// offsets count from the start of the candidate. Nothing if the budget was used up. Candidates come in ascending
    /// order.
    ///
    /// `readRecord(reader, offset)` gives the `Stretch` of the record at the offset, or nothing to stop before it.
    /// A stretch leads forwards and depends on the medium's bytes only. `mayPass(stretch)` says whether the walk may
    /// take over a stretch of an earlier one.
    template <class ReadRecord, class MayPass = bool (*)(const Stretch&)>
    std::optional<Stretch> Walk(
        const Candidate& candidate, std::int64_t from, std::int64_t limit, ReadRecord&& readRecord,
        MayPass&& mayPass = [](const Stretch&) { return true; }) {
        Begin(candidate, limit);
        Stretch way{.to = from};
        std::uint64_t lastMark = 0;
        for (bool isMark = true; !way.isEnd && way.to < limit;
             isMark = IsMark(lastMark, way.to, way.to - from, candidate.block.sectorSize)) {
            std::optional<Stretch> step;
            if (isMark) {
                lastMark = PlaceOf(way.to);
                step = Meet(lastMark, mayPass);
            }
            if (!step) {
                if (budget_ != nullptr && budget_->IsExhausted()) {
                    Leave(way);
                    return std::nullopt;
                }
                step = readRecord(ReaderOf(candidate), way.to);
                if (!step) {
                    break;
                }
                (chain_ != 0 ? afterChain_ : marks_.back().facts).Append(step->facts);
            }
            if (budget_ != nullptr) {
                budget_->Charge(StepCost);
            }
            way.to = step->to;
            way.facts.Append(step->facts);
            way.isEnd = step->isEnd;
        }
        Leave(way);
        return way;
    }

    /// For a walk that was served wrong bytes. Takes no time: what is void is overwritten later.
    void Forget() {
        firstChain_ = lastChain_ + 1;
        lastLimit_ = 0;
    }

private:
    // Unsigned, since a record may lead to the end of the 64-bit range.
    struct Mark {
        std::uint64_t place = 0;
        // Facts of the records up to the walk's next mark, or up to the chain's end at that time.
        Facts facts{};
        std::uint64_t chain = 0;
    };
    // The common end of a walk and of all that have met it since. Chains are numbered from 1.
    struct Chain {
        std::uint64_t number = 0;
        // The number of the chain that this one has met, or 0.
        std::uint64_t next = 0;
        std::uint64_t to = 0;
        // Facts of the records added since the first walk, up to `to` or to the next chain's first end.
        Facts facts{};
        bool isEnd = false;
    };

    // Cost of a step besides the bytes it reads.
    static constexpr std::int64_t StepCost = 8;
    // Windows become larger where they would be less than a 32nd of the distance.
    static constexpr int DistanceBits = 5;
    // Marks where walks from later sectors would begin.
    static constexpr int MostSectorMarks = 128;
    static constexpr std::size_t ChainCount = 1024;

    void Begin(const Candidate& candidate, std::int64_t limit) {
        start_ = static_cast<std::uint64_t>(offsets_.PlaceOf(candidate.startSector));
        // Earlier walks know only records before their limits. A failed read tells other walks nothing.
        const std::uint64_t limitPlace = PlaceOf(limit);
        mayShare_ = KFileSimulator::Serves(candidate.block);
        if (limitPlace < lastLimit_ || !mayShare_) {
            Forget();
        }
        lastLimit_ = limitPlace;
        marks_.clear();
        sectorMarks_ = 0;
        chain_ = 0;
        afterChain_ = {};
        walkReader_ = nullptr;
        if (budget_ != nullptr) {
            budget_->BeginWalk();
        }
    }

    KFileSimulator& ReaderOf(const Candidate& candidate) {
        if (walkReader_ == nullptr) {
            walkReader_ = &reader_.Of(candidate, budget_);
        }
        return *walkReader_;
    }

    std::uint64_t PlaceOf(std::int64_t offset) const { return start_ + static_cast<std::uint64_t>(offset); }

    bool IsMark(std::uint64_t lastMark, std::int64_t offset, std::int64_t walked, std::int32_t sectorSize) {
        const auto distance = static_cast<std::uint64_t>(walked);
        const int windowBits = std::max(FirstWindowBits, static_cast<int>(std::bit_width(distance)) - DistanceBits);
        if (PlaceOf(offset) >> windowBits != lastMark >> windowBits) {
            return true;
        }
        const bool isSectorMark = sectorMarks_ < MostSectorMarks && walked % sectorSize == 0;
        sectorMarks_ += isSectorMark ? 1 : 0;
        return isSectorMark;
    }

    static std::size_t SlotOf(std::uint64_t place) {
        constexpr std::uint64_t golden = 0x9E3779B97F4A7C15;
        return static_cast<std::size_t>(place * golden >> (64 - MarkBits));
    }

    // Null if the chain has been forgotten or dropped to make room.
    Chain* ChainOf(std::uint64_t number) {
        Chain& chain = chains_[number % ChainCount];
        return number >= firstChain_ && chain.number == number ? &chain : nullptr;
    }

    // The last chain that the mark leads to. Adds the facts up to that chain's first end to the mark's.
    Chain* EndOf(Mark& mark) {
        Chain* const chain = ChainOf(mark.chain);
        if (chain == nullptr || chain->next == 0) {
            return chain;
        }
        Chain* last = ChainOf(chain->next);
        while (last != nullptr && last->next != 0) {
            chain->facts.Append(last->facts);
            chain->next = last->next;
            last = ChainOf(chain->next);
        }
        mark.facts.Append(chain->facts);
        return last;
    }

    // The way from here to the end of an earlier walk's chain, if there is a mark here. Otherwise leaves one.
    template <class MayPass>
    std::optional<Stretch> Meet(std::uint64_t place, MayPass&& mayPass) {
        if (!marksKnown_.empty() && marksKnown_[SlotOf(place)].place == place) {
            Mark mark = marksKnown_[SlotOf(place)];
            const Chain* const chain = EndOf(mark);
            if (chain != nullptr && chain->number != chain_ && (chain->to > place || chain->isEnd)) {
                Stretch rest{static_cast<std::int64_t>(chain->to - start_), mark.facts, chain->isEnd};
                rest.facts.Append(chain->facts);
                if (mayPass(rest)) {
                    Join(chain->number, mark.facts);
                    return rest;
                }
            }
        }
        if (chain_ == 0) {
            marks_.push_back({place, {}, 0});
        }
        return std::nullopt;
    }

    // The walk has met a chain; `facts` cover the way to that chain's first end.
    void Join(std::uint64_t number, const Facts& facts) {
        if (chain_ == 0) {
            LeaveMarks(number, facts);
        } else if (Chain* const chain = ChainOf(chain_)) {
            chain->facts.Append(afterChain_);
            chain->facts.Append(facts);
            chain->next = number;
        }
        chain_ = number;
        afterChain_ = {};
    }

    void Leave(const Stretch& way) {
        if (chain_ != 0) {
            Chain& chain = *ChainOf(chain_);
            chain.facts.Append(afterChain_);
            chain.to = PlaceOf(way.to);
            chain.isEnd = way.isEnd;
        } else if (mayShare_ && marks_.size() > 1) {
            // A shorter walk is as cheap to repeat.
            marksKnown_.resize(std::size_t{1} << MarkBits);
            chains_.resize(ChainCount);
            ++lastChain_;
            chains_[lastChain_ % ChainCount] = {lastChain_, 0, PlaceOf(way.to), {}, way.isEnd};
            LeaveMarks(lastChain_, {});
        }
    }

    void LeaveMarks(std::uint64_t chain, Facts facts) {
        for (std::size_t i = marks_.size(); i-- > 0;) {
            Mark& mark = marks_[i];
            mark.facts.Append(facts);
            facts = mark.facts;
            mark.chain = chain;
            // Of two marks in one slot the later one stays, since walks need it for longer.
            Mark& known = marksKnown_[SlotOf(mark.place)];
            if (known.place <= mark.place || ChainOf(known.chain) == nullptr) {
                known = mark;
            }
        }
    }

    Budget* budget_;
    ScanOffsets offsets_;
    SharedReader reader_;
    std::uint64_t lastLimit_ = 0;
    std::vector<Mark> marksKnown_;
    std::vector<Chain> chains_;
    std::uint64_t lastChain_ = 0;
    // Those before it are forgotten.
    std::uint64_t firstChain_ = 1;
    // The current walk: where it starts, its marks, the chain that it follows and the facts after that chain's end.
    std::uint64_t start_ = 0;
    std::vector<Mark> marks_;
    std::uint64_t chain_ = 0;
    Facts afterChain_{};
    int sectorMarks_ = 0;
    bool mayShare_ = false;
    // Null until the walk reads.
    KFileSimulator* walkReader_ = nullptr;
};
