#include "core/JInteger.h"

#include <climits>
#include <gtest/gtest.h>
#include <type_traits>

#include "core/JString.h"

TEST(JIntegerTest, HoldsZeroOrTheGivenValue) {
    EXPECT_EQ(JInteger(), 0);
    EXPECT_EQ(JInteger(-3), -3);
    const JInteger original(5);
    const JInteger copy(original);
    EXPECT_EQ(copy, 5);
    const JInteger converted = 7;
    EXPECT_EQ(static_cast<int>(converted), 7);
}

TEST(JIntegerTest, AssignmentsReturnTheObject) {
    JInteger a;
    const JInteger b(4);
    EXPECT_EQ(&(a = 3), &a);
    EXPECT_EQ(a, 3);
    EXPECT_EQ(&(a = b), &a);
    EXPECT_EQ(a, 4);
    EXPECT_EQ(&(a += 5), &a);
    EXPECT_EQ(a, 9);
    EXPECT_EQ(&(a += b), &a);
    EXPECT_EQ(a, 13);
    EXPECT_EQ(a += a, 26);
}

TEST(JIntegerTest, PlusGivesANewInteger) {
    const JInteger three(3);
    EXPECT_EQ(three + 4, 7);
    EXPECT_EQ(4 + three, 7);
    EXPECT_EQ(three + three, 6);
    EXPECT_EQ(three + 'a', 100);
    EXPECT_EQ(three, 3);
    static_assert(std::is_same_v<decltype(three + 4), JInteger>);
    static_assert(std::is_same_v<decltype(4 + three), JInteger>);
    static_assert(std::is_same_v<decltype(three + three), JInteger>);
}

TEST(JIntegerTest, SumsWrapAround) {
    JInteger most(INT_MAX);
    EXPECT_EQ(most + 1, INT_MIN);
    EXPECT_EQ(-1 + JInteger(INT_MIN), INT_MAX);
    EXPECT_EQ(most + most, -2);
    most += 1;
    EXPECT_EQ(most, INT_MIN);
}

TEST(JIntegerTest, ComparesByValueThroughInt) {
    EXPECT_TRUE(JInteger(3) == JInteger(3));
    EXPECT_TRUE(JInteger(3) < 4);
}

TEST(JIntegerTest, EqualityHashAndCloneAreTheRoots) {
    JInteger three(3);
    EXPECT_TRUE(three.equals(JInteger(4)));
    EXPECT_EQ(three.hashCode(), 0);
    EXPECT_EQ(three.clone(), nullptr);
}

TEST(JIntegerTest, ParseIntReadsADecimalNumberAtTheStart) {
    EXPECT_EQ(JInteger::parseInt("12abc"), 12);
    EXPECT_EQ(JInteger::parseInt("abc"), 0);
    EXPECT_EQ(JInteger::parseInt("  -7"), -7);
    EXPECT_EQ(JInteger::parseInt("\t\n+8"), 8);
    EXPECT_EQ(JInteger::parseInt("010"), 10);
    EXPECT_EQ(JInteger::parseInt("0x10"), 0);
    EXPECT_EQ(JInteger::parseInt("- 5"), 0);
    EXPECT_EQ(JInteger::parseInt(""), 0);
    EXPECT_EQ(JInteger::parseInt(static_cast<const char*>(nullptr)), 0);
}

TEST(JIntegerTest, ParseIntTakesStrings) {
    JString text("42 things");
    EXPECT_EQ(JInteger::parseInt(text), 42);
    EXPECT_EQ(JInteger::parseInt(JString("-1")), -1);
}

TEST(JIntegerTest, ParseIntStopsAtTheLimitsOfInt) {
    EXPECT_EQ(JInteger::parseInt("2147483647"), INT_MAX);
    EXPECT_EQ(JInteger::parseInt("2147483648"), INT_MAX);
    EXPECT_EQ(JInteger::parseInt("-2147483648"), INT_MIN);
    EXPECT_EQ(JInteger::parseInt("-99999999999999999999999"), INT_MIN);
}
