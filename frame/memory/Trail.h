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

/// Lets the walks of one scan share what they have read, for formats whose records each say where the next one begins:
/// a walk that meets an earlier walk ends where that one did, with its facts.
///
/// A walk leaves marks on its way, and each of them leads to where it ended. There is one where it began, one in each
/// window of the medium that it came into, and near its start one wherever a walk from a later sector would begin. The
/// windows lie at fixed places and grow with the distance, so walks that run through the same records come to the same
/// marks, and a long walk has a few hundred.
///
/// `Facts` is what a walk wants to know of the records it passes, with `void Append(const Facts& behind)`.
template <class Facts>
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
    void Reset() { offsets_.Reset(); }

    /// Forgets it too if the block does not continue the one before. The block outlives its walks.
    void EnterBlock(const SectorBlock& block) {
        reader_.reset();
        if (!offsets_.Enter(block)) {
            Forget();
        }
    }

    /// Walks from `from` to the first record that begins at `limit` or behind, or to where no record follows; both
    /// count from the start of the candidate. Nothing if the budget was used up.
    ///
    /// `readRecord(reader, offset)` gives the `Stretch` of the record at the offset, which leads forwards and depends
    /// on the medium's bytes only, or nothing to stop in front of it. `mayPass(stretch)` is asked before the walk goes
    /// on along an earlier one. Candidates come in ascending order.
    template <class ReadRecord, class MayPass = bool (*)(const Stretch&)>
    std::optional<Stretch> Walk(
        const Candidate& candidate, std::int64_t from, std::int64_t limit, ReadRecord&& readRecord,
        MayPass&& mayPass = [](const Stretch&) { return true; }) {
        Begin(candidate, limit);
        Stretch way{.to = from};
        bool isMark = true;
        while (!way.isEnd && way.to < limit) {
            std::optional<Stretch> step;
            if (isMark) {
                step = KnownFrom(way.to);
                marks_.push_back({PlaceOf(way.to), {}});
            }
            const bool meetsEarlier = step && mayPass(*step);
            if (!meetsEarlier) {
                if (budget_ != nullptr && budget_->IsExhausted()) {
                    Leave(way);
                    return std::nullopt;
                }
                step = readRecord(ReaderOf(candidate), way.to);
            }
            if (!step) {
                break;
            }
            if (budget_ != nullptr) {
                budget_->Charge(StepCost);
            }
            marks_.back().facts.Append(step->facts);
            isMark = meetsEarlier || IsMark(step->to, step->to - from, candidate.block.sectorSize);
            way = {.to = step->to, .isEnd = step->isEnd};
        }
        way.facts = Leave(way);
        return way;
    }

    /// What was read is not what stands on the medium.
    void Forget() {
        known_.clear();
        lastLimit_ = 0;
    }

private:
    // Places are offsets in the scan. They are unsigned since a record may lead to the end of the 64-bit range.
    struct Mark {
        std::uint64_t place;
        Facts facts;
    };
    struct Known {
        std::uint64_t from = 0;
        std::uint64_t to = 0;
        Facts facts{};
        bool isEnd = false;
    };

    // What a step costs besides the bytes that are read for it.
    static constexpr std::int64_t StepCost = 8;
    // Windows have 16 KiB up to a distance of 512 KiB, then a 16th to a 32nd of the distance.
    static constexpr int FirstWindowBits = 14;
    static constexpr int DistanceBits = 5;
    // Sectors from whose starts a walk may begin as this one did: so far as these, each has a mark.
    static constexpr std::uint64_t NearSectors = 1024;
    static constexpr int KnownBits = 14;

    void Begin(const Candidate& candidate, std::int64_t limit) {
        start_ = static_cast<std::uint64_t>(offsets_.PlaceOf(candidate.startSector));
        // What an earlier walk passed lies in front of its limit. A read that fails says nothing to other walks.
        const std::uint64_t limitPlace = PlaceOf(limit);
        if (limitPlace < lastLimit_ || !KFileSimulator::Serves(candidate.block)) {
            Forget();
        }
        lastLimit_ = limitPlace;
        marks_.clear();
        isReaderPlaced_ = false;
        if (budget_ != nullptr) {
            budget_->BeginWalk();
        }
    }

    // One reader serves all walks of a block, since the records of one are often those in front of the next. A walk
    // that meets an earlier one at once needs none.
    KFileSimulator& ReaderOf(const Candidate& candidate) {
        if (!reader_) {
            reader_.emplace(&candidate.block, candidate.startSector, 0, budget_);
        } else if (!isReaderPlaced_) {
            reader_->Rebase(candidate.startSector);
        }
        isReaderPlaced_ = true;
        return *reader_;
    }

    std::uint64_t PlaceOf(std::int64_t offset) const { return start_ + static_cast<std::uint64_t>(offset); }

    bool IsMark(std::int64_t offset, std::int64_t walked, std::int32_t sectorSize) const {
        const auto distance = static_cast<std::uint64_t>(walked);
        const int windowBits = std::max(FirstWindowBits, static_cast<int>(std::bit_width(distance)) - DistanceBits);
        const auto sectorBytes = static_cast<std::uint32_t>(sectorSize);
        return PlaceOf(offset) >> windowBits != marks_.back().place >> windowBits ||
               (distance < NearSectors * sectorBytes && distance % sectorBytes == 0);
    }

    static std::size_t SlotOf(std::uint64_t place) {
        constexpr std::uint64_t golden = 0x9E3779B97F4A7C15;
        return static_cast<std::size_t>(place * golden >> (64 - KnownBits));
    }

    std::optional<Stretch> KnownFrom(std::int64_t offset) const {
        if (known_.empty()) {
            return std::nullopt;
        }
        const Known& known = known_[SlotOf(PlaceOf(offset))];
        const bool leadsOn = known.to != known.from || known.isEnd;
        if (known.from != PlaceOf(offset) || !leadsOn) {
            return std::nullopt;
        }
        return Stretch{static_cast<std::int64_t>(known.to - start_), known.facts, known.isEnd};
    }

    // Lets all marks lead to where the walk has ended. Gives the facts of the whole way.
    Facts Leave(const Stretch& way) {
        known_.resize(std::size_t{1} << KnownBits);
        Facts facts{};
        for (std::size_t i = marks_.size(); i-- > 0;) {
            Mark& mark = marks_[i];
            mark.facts.Append(facts);
            facts = mark.facts;
            // Of two places, the one in front is the first of which no walk needs to know.
            if (Known& known = known_[SlotOf(mark.place)]; known.from <= mark.place) {
                known = {mark.place, PlaceOf(way.to), facts, way.isEnd};
            }
        }
        return facts;
    }

    Budget* budget_;
    ScanOffsets offsets_;
    std::optional<KFileSimulator> reader_;
    std::uint64_t lastLimit_ = 0;
    // Of the present walk.
    std::uint64_t start_ = 0;
    bool isReaderPlaced_ = false;
    std::vector<Mark> marks_;
    std::vector<Known> known_;
};
