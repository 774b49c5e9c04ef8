#include "tools/jay/Number.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

TEST(NumberTest, IsDecimalOrHexadecimal) {
    EXPECT_EQ(readNumber("0"), 0);
    EXPECT_EQ(readNumber("010"), 10);
    EXPECT_EQ(readNumber("-5"), -5);
    EXPECT_EQ(readNumber("+5"), 5);
    EXPECT_EQ(readNumber("0x1F"), 31);
    EXPECT_EQ(readNumber("-0Xff"), -255);
}

TEST(NumberTest, IsTheWholeText) {
    for (const char* text : {"", "-", "+", "0x", "x", "5 ", " 5", "5a", "--5", "-+5", "0x-5", "5.0"})
        EXPECT_EQ(readNumber(text), std::nullopt) << text;
}

TEST(NumberTest, IsOutOfEveryRangeBeyond64Bits) {
    EXPECT_EQ(readNumber("99999999999999999999"), std::numeric_limits<long long>::max());
    EXPECT_EQ(readNumber("-99999999999999999999"), -std::numeric_limits<long long>::max());
}

}  // namespace
