#include "frame/read/Budget.h"

#include <gtest/gtest.h>

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
    for (int walk = 0; walk < 40; ++walk) {
        Allowance(budget);
    }
    budget.BeginWalk();
    EXPECT_FALSE(budget.IsExhausted());
    budget.Charge(Budget::FreeBytes);
    EXPECT_TRUE(budget.IsExhausted());
    // Walks that cost no more than that are free.
    budget.EnterBlock({1, nullptr, 1 << 14, 512, nullptr});
    for (int walk = 0; walk < 1000; ++walk) {
        budget.BeginWalk();
        budget.Charge(Budget::FreeBytes);
    }
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), (std::int64_t{1} << 23) * Budget::RefillFactor / 2.0, 1 << 21);
    budget.EnterBlock({1, nullptr, 1 << 30, 1 << 20, nullptr});
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), Most / 2.0, 1 << 21);
    budget.Reset();
    EXPECT_NEAR(static_cast<double>(Allowance(budget)), Most / 2.0, 1 << 21);
}

}  // namespace
