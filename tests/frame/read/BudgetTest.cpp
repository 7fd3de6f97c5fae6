#include "frame/read/Budget.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/SparseMedium.h"

namespace {

constexpr std::int64_t Most = Budget::MostBytes;

// What the next walk may cost, to the nearest MiB.
std::int64_t Allowance(Budget& budget) {
    constexpr std::int64_t step = std::int64_t{1} << 20;
    budget.BeginWalk();
    std::int64_t bytes = 0;
    for (; !budget.IsExhausted(); bytes += step) {
        budget.Charge(step);
    }
    return bytes;
}

TEST(Budget, WalksTakeHalfOfWhatIsLeftAndBlocksRefillIt) {
    Budget budget;
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), Most / 2.0, 1 << 21);
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), Most / 4.0, 1 << 21);
    // When nothing is left, a walk still gets a few bytes, even after others have used up everything.
    for (int walk = 0; walk < 40; ++walk) {
        Allowance(budget);
    }
    budget.BeginWalk();
    budget.Charge(Budget::SureBytes - 1);
    EXPECT_FALSE(budget.IsExhausted());
    budget.Charge(1);
    EXPECT_TRUE(budget.IsExhausted());
    budget.EnterBlock({1, nullptr, 1 << 14, 512, nullptr});
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), (std::int64_t{1} << 23) * Budget::RefillFactor / 2.0, 1 << 21);
    budget.EnterBlock({1, nullptr, 1 << 30, 1 << 20, nullptr});
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), Most / 2.0, 1 << 21);
    budget.Reset();
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), Most / 2.0, 1 << 21);
}

TEST(Budget, HoldsSomeTimesTheMediumsSize) {
    constexpr std::int64_t mebi = std::int64_t{1} << 20;
    for (const auto& [medium, full] :
         {std::pair{mebi, 256 * mebi}, {64 * mebi, 1024 * mebi}, {4096 * mebi, 16384 * mebi}}) {
        test::SparseMedium source(medium);
        Budget budget;
        budget.EnterBlock({1, nullptr, 0, 512, &source});
        EXPECT_NEAR(static_cast<double>(Allowance(budget)), static_cast<double>(full) / 2, 1 << 21) << medium;
    }
}

}  // namespace
