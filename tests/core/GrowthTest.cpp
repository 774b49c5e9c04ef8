#include "core/detail/Growth.h"

#include <climits>
#include <gtest/gtest.h>

using jay::detail::allocatedFor;

TEST(GrowthTest, HoldsTheCapacityAndAtMostHalfAsMuchAgain) {
    for (int capacity = 0; capacity < 100000; capacity++) {
        const std::size_t allocated = allocatedFor(capacity, 8);
        const auto needed = static_cast<std::size_t>(capacity);
        ASSERT_GE(allocated, needed);
        ASSERT_LE(allocated, needed + needed / 2 + 8) << capacity;
        ASSERT_EQ(allocated % 8, 0u);
    }
}

TEST(GrowthTest, NeverDecreases) {
    for (int capacity = 1; capacity < 100000; capacity++) {
        ASSERT_GE(allocatedFor(capacity, 256), allocatedFor(capacity - 1, 256)) << capacity;
    }
}

TEST(GrowthTest, GrowingBySingleStepsChangesTheSizeSeldom) {
    int changes = 0;
    for (int capacity = 8; capacity < 1000000; capacity += 8) {
        if (allocatedFor(capacity, 8) != allocatedFor(capacity + 8, 8)) changes++;
    }
    EXPECT_LT(changes, 60);
}

TEST(GrowthTest, TheLargestCapacityFits) {
    EXPECT_GE(allocatedFor(INT_MAX, 8), static_cast<std::size_t>(INT_MAX));
    EXPECT_GE(allocatedFor(INT_MAX, 256), static_cast<std::size_t>(INT_MAX));
}
