#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

/// A stretch of the medium in which no footer begins, as far as earlier candidates of a scan have searched. Other
/// searches pass over it, so that many candidates before the same stretch read it once. What counts as a footer
/// depends on the medium's bytes only.
///
/// Places are bytes, counted as `ScanOffsets` does.
class Gap {
public:
    /// How far a step of a search came, and whether it stopped at a footer there.
    struct Step {
        std::int64_t to;
        bool isFooter;
    };

    void Forget() { known_ = {}; }

    /// The first footer that begins in [`from`, `end`), for the candidate that begins at `start`. Candidates come in
    /// ascending order. `advance(at, end)` searches on from `at` and gives a `Step`: it stays at `at` where nothing can
    /// be read, and may go beyond the end.
    template <class Advance>
    std::optional<std::int64_t> Find(std::int64_t start, std::int64_t from, std::int64_t end, Advance advance) {
        Stretch seen{from, from, false};
        for (;;) {
            if (!seen.isFooterAfter && known_.from <= seen.to && seen.to <= known_.to) {
                seen = {std::min(seen.from, known_.from), known_.to, known_.isFooterAfter};
            }
            if (seen.isFooterAfter || seen.to >= end) {
                break;
            }
            const Step step = advance(seen.to, end);
            if (step.to == seen.to && !step.isFooter) {
                break;
            }
            seen.to = step.to;
            seen.isFooterAfter = step.isFooter;
        }
        Remember(seen, start);
        return seen.isFooterAfter && seen.to < end ? std::optional(seen.to) : std::nullopt;
    }

private:
    // No footer begins in [`from`, `to`); one may be known to begin at `to`.
    struct Stretch {
        std::int64_t from = 0;
        std::int64_t to = 0;
        bool isFooterAfter = false;
    };

    // Of two separate stretches the longer one saves more, unless later searches begin after it.
    void Remember(const Stretch& seen, std::int64_t start) {
        const bool meet = known_.from <= seen.to && seen.from <= known_.to;
        if (meet || known_.to <= start || seen.to - seen.from > known_.to - known_.from) {
            known_ = seen;
        }
    }

    Stretch known_;
};
