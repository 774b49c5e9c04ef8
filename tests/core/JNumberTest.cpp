#include "core/JNumber.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

/** The space callers give. */
struct Space {
    char buf[40];
    Space() { std::memset(buf, '#', sizeof(buf)); }
};

std::string itoa(int value, int base) {
    Space space;
    EXPECT_EQ(sys_itoa(value, space.buf, base), space.buf);
    EXPECT_EQ(space.buf[std::strlen(space.buf) + 1], '#') << "wrote beyond its NUL";
    return space.buf;
}

std::string i64toa(long long value, int base) {
    Space space;
    EXPECT_EQ(sys_i64toa(value, space.buf, base), space.buf);
    EXPECT_EQ(space.buf[std::strlen(space.buf) + 1], '#') << "wrote beyond its NUL";
    return space.buf;
}

}  // namespace

TEST(JNumberTest, ItoaWritesSignedDecimals) {
    EXPECT_EQ(itoa(0, 10), "0");
    EXPECT_EQ(itoa(-1, 10), "-1");
    EXPECT_EQ(itoa(INT_MAX, 10), "2147483647");
    EXPECT_EQ(itoa(INT_MIN, 10), "-2147483648");
}

TEST(JNumberTest, ItoaWritesThePatternInUpperCaseHexadecimal) {
    EXPECT_EQ(itoa(255, 16), "FF");
    EXPECT_EQ(itoa(-1, 16), "FFFFFFFF");
    EXPECT_EQ(itoa(INT_MIN, 16), "80000000");
    EXPECT_EQ(itoa(0, 16), "0");
}

TEST(JNumberTest, ItoaWritesThePatternInOctal) {
    EXPECT_EQ(itoa(8, 8), "10");
    EXPECT_EQ(itoa(-1, 8), "37777777777");
}

TEST(JNumberTest, ItoaWritesNothingInOtherBases) {
    EXPECT_EQ(itoa(5, 2), "");
    EXPECT_EQ(itoa(5, 0), "");
    EXPECT_EQ(itoa(5, -10), "");
    EXPECT_EQ(itoa(5, 36), "");
}

TEST(JNumberTest, I64toaWritesSignedDecimals) {
    EXPECT_EQ(i64toa(0, 10), "0");
    EXPECT_EQ(i64toa(-1, 10), "-1");
    EXPECT_EQ(i64toa(4294967296LL, 10), "4294967296");
    EXPECT_EQ(i64toa(LLONG_MAX, 10), "9223372036854775807");
    EXPECT_EQ(i64toa(LLONG_MIN, 10), "-9223372036854775808");
}

TEST(JNumberTest, I64toaWritesThePatternInUpperCaseHexadecimal) {
    EXPECT_EQ(i64toa(0xABCDEF0123LL, 16), "ABCDEF0123");
    EXPECT_EQ(i64toa(-1, 16), "FFFFFFFFFFFFFFFF");
}

TEST(JNumberTest, I64toaWritesThePatternInOctal) {
    EXPECT_EQ(i64toa(8, 8), "10");
    EXPECT_EQ(i64toa(-1, 8), "1777777777777777777777");
}

TEST(JNumberTest, I64toaWritesNothingInOtherBases) {
    EXPECT_EQ(i64toa(5, 2), "");
    EXPECT_EQ(i64toa(5, 0), "");
}
