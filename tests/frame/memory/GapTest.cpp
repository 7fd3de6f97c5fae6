#include "frame/memory/Gap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/support/Numbers.h"

namespace {

using test::Noise;

constexpr std::int64_t Places = 400;

// A medium known only by the places where its footers begin.
struct Footers {
    // Advances by at most ten places, even beyond the end. `read` counts the places passed.
    Gap::Step Advance(std::int64_t at) {
        const std::int64_t to = std::min(at + 10, Places);
        const auto next = at < to ? places.lower_bound(at) : places.end();
        const bool isFooter = next != places.end() && *next < to;
        read += (isFooter ? *next : to) - at;
        return {isFooter ? *next : to, isFooter};
    }
    std::optional<std::int64_t> Find(std::int64_t start, std::int64_t from, std::int64_t end) {
        return gap.Find(start, from, end, [this](std::int64_t at, std::int64_t) { return Advance(at); });
    }

    std::set<std::int64_t> places;
    std::int64_t read = 0;
    Gap gap;
};

TEST(Gap, SearchesFindTheNextFooterWhateverWasSearchedBefore) {
    Noise noise(7);
    for (int round = 0; round < 500; ++round) {
        Footers footers;
        for (std::uint64_t i = noise.Below(6); i > 0; --i) {
            footers.places.insert(static_cast<std::int64_t>(noise.Below(Places)));
        }
        for (std::int64_t start = 0; start < Places; start += 5) {
            const std::int64_t from = start + static_cast<std::int64_t>(noise.Below(60));
            const std::int64_t end = from + static_cast<std::int64_t>(noise.Below(120));
            const auto next = footers.places.lower_bound(from);
            const bool isNear = next != footers.places.end() && *next < end;
            ASSERT_EQ(footers.Find(start, from, end), isNear ? std::optional(*next) : std::nullopt);
        }
    }
}

TEST(Gap, ManySearchesReadAStretchOnceInWhateverOrder) {
    for (const std::int64_t step : {1, -1, 7}) {
        Footers footers;
        footers.places = {Places - 1};
        std::int64_t from = step < 0 ? 99 : 0;
        for (int search = 0; search < 100; ++search, from = (from + step) % 100) {
            ASSERT_EQ(footers.Find(0, from, Places), Places - 1);
        }
        EXPECT_LT(footers.read, Places + 100 * 10) << step;
    }
}

}  // namespace
