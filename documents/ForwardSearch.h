#pragma once

#include <cstdint>
#include <optional>

/// Looks for the first of certain places from one place on, again and again, and goes over no stretch a second time as
/// long as the searches begin at ascending places: what one search has passed over or found holds for the next.
class ForwardSearch {
public:
    /// How far a step came, and whether it stopped because a place it looks for is there.
    struct Step {
        std::int64_t to;
        bool isFound;
    };

    /// The first place from `from` on and before `end`. `advance(at, end)` gives a `Step` that leads on from `at`: it
    /// stays there where nothing can be read, and may lead beyond the end.
    template <class Advance>
    std::optional<std::int64_t> Find(std::int64_t from, std::int64_t end, Advance advance) {
        if (from < from_ || from > to_) {
            *this = {};
            from_ = to_ = from;
        }
        while (!isFound_ && to_ < end) {
            const Step step = advance(to_, end);
            if (step.to == to_ && !step.isFound) {
                return std::nullopt;
            }
            to_ = step.to;
            isFound_ = step.isFound;
        }
        return isFound_ && to_ < end ? std::optional(to_) : std::nullopt;
    }

private:
    // Nothing stands from `from_` on and before `to_`.
    std::int64_t from_ = 0;
    std::int64_t to_ = 0;
    // One of the places is at `to_`.
    bool isFound_ = false;
};
