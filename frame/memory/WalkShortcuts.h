#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "frame/read/KFileSimulator.h"

/// What the walks of one scan tell each other, for formats whose records each say where the next one begins.
///
/// Walks that meet share the rest of their way: a long one leaves landmarks behind, and from each of them a shortcut
/// leads to where it ended. `Facts` is what a walk wants to know of the records on its way, with
/// `void Append(const Facts& behind)` for two stretches of it behind one another. Positions are byte offsets from a
/// place that the walks have in common. At most `MostShortcuts` are kept.
template <class Facts, std::size_t MostShortcuts>
class WalkShortcuts {
public:
    /// From one record to a later one.
    struct Shortcut {
        std::int64_t to = 0;
        Facts facts;
    };

    void Clear() { shortcuts_ = {}; }

    /// Starts a walk at the candidate that begins at `start`, whose own record leads to `first`. That record is read
    /// only once, and the next candidate of the same row of records may begin behind it: so a shortcut at the
    /// candidate moves on. The record adds no fact.
    void BeginWalkBehind(std::int64_t start, std::int64_t first) {
        auto shortcut = shortcuts_.extract(start);
        if (!shortcut.empty() && shortcut.mapped().to > first) {
            shortcut.key() = first;
            shortcuts_.insert(std::move(shortcut));
        }
        BeginWalk();
    }

    void BeginWalk() {
        landmarks_.clear();
        widestGap_ = FirstWidestGap;
        gap_ = 1;
        cost_ = gap_;
    }

    /// Null if none leads on from here. Valid until the walk ends.
    const Shortcut* Find(std::int64_t position) const {
        const auto found = shortcuts_.find(position);
        return found != shortcuts_.end() ? &found->second : nullptr;
    }

    /// The walk takes a step, which is a shortcut or has just been read.
    void Pass(std::int64_t position, const Shortcut& step, bool isShortcut) {
        if (isShortcut || cost_ >= gap_) {
            if (landmarks_.size() == MostShortcuts / 2) {
                ThinOut();
            }
            landmarks_.push_back({position, {}});
            gap_ = std::min(isShortcut ? gap_ : 2 * gap_, widestGap_);
            cost_ = 0;
        }
        landmarks_.back().factsBehind.Append(step.facts);
        const bool isJump = step.to < position || step.to > position + KFileSimulator::CacheBytes;
        cost_ += isJump ? JumpCost : 1;
    }

    /// Lets every landmark lead to where the walk ended, with `endFacts` for what it found there. Walks to come do not
    /// begin in front of `start`, where this one did.
    void EndWalk(std::int64_t start, std::int64_t end, const Facts& endFacts = {}) {
        // A short walk is as soon done again.
        if (landmarks_.size() < 2) {
            return;
        }
        if (shortcuts_.size() + landmarks_.size() > MostShortcuts) {
            std::erase_if(shortcuts_, [start](const auto& shortcut) { return shortcut.first < start; });
            // Half of the room, lest the next walks look through all of them again.
            if (shortcuts_.size() > MostShortcuts / 2) {
                shortcuts_.clear();
            }
        }
        Facts facts = endFacts;
        while (!landmarks_.empty()) {
            Landmark landmark = landmarks_.back();
            landmarks_.pop_back();
            landmark.factsBehind.Append(facts);
            facts = landmark.factsBehind;
            shortcuts_.insert_or_assign(landmark.position, Shortcut{end, facts});
        }
    }

private:
    // Gaps between landmarks are what the steps between them cost: a record costs 1, a jump out of the reader's cache,
    // which fills it again, JumpCost. Gaps grow to the widest, so that a candidate a little behind the start of a walk
    // has a landmark a little in front of it, and for many in a row the steps to them add up to little.
    static constexpr std::int64_t FirstWidestGap = 128;
    static constexpr std::int64_t JumpCost = 32;

    struct Landmark {
        std::int64_t position = 0;
        Facts factsBehind;
    };

    // Keeps every other landmark, and puts those to come up to twice as far apart.
    void ThinOut() {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < landmarks_.size(); i += 2) {
            Landmark landmark = landmarks_[i];
            if (i + 1 < landmarks_.size()) {
                landmark.factsBehind.Append(landmarks_[i + 1].factsBehind);
            }
            landmarks_[kept++] = landmark;
        }
        landmarks_.resize(kept);
        widestGap_ *= 2;
    }

    // By the position where they begin.
    std::unordered_map<std::int64_t, Shortcut> shortcuts_;
    // Of the walk in hand.
    std::vector<Landmark> landmarks_;
    std::int64_t widestGap_ = FirstWidestGap;
    // What the next gap may cost, and what the one in hand has cost.
    std::int64_t gap_ = 1;
    std::int64_t cost_ = 1;
};
