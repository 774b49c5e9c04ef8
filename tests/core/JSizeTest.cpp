#include "core/JSize.h"

#include <gtest/gtest.h>

TEST(JSizeTest, StartsAtZero) {
    EXPECT_EQ(JSize().size(), 0);
}

TEST(JSizeTest, SettingReturnsThePreviousValue) {
    JSize counter;
    counter = 2;
    EXPECT_EQ(counter.size(5), 2);
    EXPECT_EQ(counter.size(), 5);
}

TEST(JSizeTest, AssignmentStoresAndReturnsTheObject) {
    JSize counter;
    EXPECT_EQ(&(counter = 7), &counter);
    EXPECT_EQ(counter, 7);
    const JSize& fixed = counter;
    EXPECT_EQ(static_cast<int>(fixed), 7);
    JSize copy;
    copy = counter;
    EXPECT_EQ(copy, 7);
}

TEST(JSizeTest, IsSharedByReference) {
    JSize counter;
    JSize& owner = counter;
    JSize& other = counter;
    owner = 3;
    EXPECT_EQ(other.size(other + 1), 3);
    EXPECT_EQ(owner, 4);
}
