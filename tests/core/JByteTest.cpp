#include "core/JByte.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

namespace {

std::string contents(const JByte& block) {
    return std::string(static_cast<const char*>(block), static_cast<std::size_t>(block.size()));
}

JByte blockOf(const char* text) {
    return JByte(text, 0, static_cast<int>(std::strlen(text)));
}

}  // namespace

TEST(JByteTest, AnEmptyBlockHasData) {
    JByte block;
    EXPECT_EQ(block.size(), 0);
    EXPECT_NE(static_cast<char*>(block), nullptr);
    static_cast<char*>(block)[0] = 'x';  // one byte is there
}

TEST(JByteTest, ASizedBlockHoldsThatManyBytes) {
    JByte block(100);
    EXPECT_EQ(block.size(), 100);
    std::memset(block, 7, 100);
    EXPECT_EQ(block[99], 7);
}

TEST(JByteTest, ANegativeSizeCountsAsZero) {
    JByte block(-5);
    EXPECT_EQ(block.size(), 0);
    EXPECT_NE(static_cast<char*>(block), nullptr);
    EXPECT_EQ(JByte(INT_MIN).size(), 0);
}

TEST(JByteTest, ARangeIsCopiedWithoutTerminator) {
    const char* text = "abcdef";
    JByte block(text, 2, 3);
    EXPECT_EQ(block.size(), 3);
    EXPECT_EQ(contents(block), "cde");
}

TEST(JByteTest, ARangeMayComeFromAnyPointerToWritableBytes) {
    unsigned char bytes[] = {1, 2, 200, 0, 5};
    JByte block(bytes, 1, 3);
    EXPECT_EQ(contents(block), std::string("\x02\xC8\0", 3));
    char text[] = "abc";
    EXPECT_EQ(contents(JByte(text, 1, 2)), "bc");
}

TEST(JByteTest, ANullSourceOrANegativeLengthGivesAnEmptyBlock) {
    EXPECT_EQ(JByte(static_cast<const char*>(nullptr), 0, 5).size(), 0);
    EXPECT_EQ(JByte(static_cast<void*>(nullptr), 2, 5).size(), 0);
    EXPECT_EQ(JByte("abc", 0, -1).size(), 0);
    EXPECT_EQ(JByte("abc", 0, 0).size(), 0);
}

TEST(JByteTest, ACopyHasItsOwnBytes) {
    JByte original = blockOf("abc");
    JByte copy(original);
    static_cast<char*>(original)[0] = 'x';
    EXPECT_EQ(contents(copy), "abc");
    EXPECT_NE(static_cast<char*>(copy), static_cast<char*>(original));
    EXPECT_EQ(JByte(JByte()).size(), 0);
}

TEST(JByteTest, AssigningASmallerBlockKeepsTheArray) {
    JByte block(100);
    char* array = block;
    EXPECT_EQ(&(block = blockOf("0123456789")), &block);
    EXPECT_EQ(block.size(), 10);
    EXPECT_EQ(contents(block), "0123456789");
    EXPECT_EQ(static_cast<char*>(block), array);
}

TEST(JByteTest, AssigningABlockOfTheSameSizeKeepsTheArray) {
    JByte block(3);
    char* array = block;
    block = blockOf("abc");
    EXPECT_EQ(static_cast<char*>(block), array);
    EXPECT_EQ(contents(block), "abc");
}

TEST(JByteTest, AnAssignmentRemembersNoCapacity) {
    JByte block(100);
    block = JByte(10);
    char* array = block;
    JByte larger(50);
    std::memset(larger, 1, 50);
    block = larger;
    // The new array was allocated while the old one was there, so it cannot be in the same place.
    EXPECT_NE(static_cast<char*>(block), array);
    EXPECT_EQ(contents(block), std::string(50, '\1'));
}

TEST(JByteTest, MayBeAssignedToItself) {
    JByte block = blockOf("abc");
    JByte& same = block;
    block = same;
    EXPECT_EQ(contents(block), "abc");
}

TEST(JByteTest, ResizeReturnsTheNewData) {
    JByte block = blockOf("abc");
    char* data = block.resize(8);
    EXPECT_EQ(block.size(), 8);
    EXPECT_EQ(data, static_cast<char*>(block));
    std::memset(data, 1, 8);
    EXPECT_EQ(contents(block), std::string(8, '\1'));
}

TEST(JByteTest, ResizeAllocatesAnewAlsoForLess) {
    JByte block(8);
    char* array = block;
    EXPECT_NE(block.resize(2), array);
    EXPECT_EQ(block.size(), 2);
}

TEST(JByteTest, ResizeToNothingLeavesData) {
    JByte block = blockOf("abc");
    EXPECT_NE(block.resize(0), nullptr);
    EXPECT_EQ(block.size(), 0);
    EXPECT_NE(block.resize(-1), nullptr);
    EXPECT_EQ(block.size(), 0);
}

TEST(JByteTest, BytesAreSigned) {
    const JByte block = blockOf("a\xFF");
    EXPECT_EQ(block[0], 'a');
    EXPECT_EQ(block[1], -1);
    EXPECT_EQ(block[1L], -1);
    EXPECT_EQ(block[std::size_t{1}], -1);
    static_assert(std::is_same_v<decltype(block[0]), signed char>);
}

TEST(JByteTest, ConvertsToPointersToItsData) {
    const JByte block = blockOf("abc");
    char* text = block;
    const char* constant = block;
    unsigned char* bytes = block;
    const unsigned char* constantBytes = block;
    void* untyped = block;
    const void* constantUntyped = block;
    EXPECT_EQ(constant, text);
    EXPECT_EQ(reinterpret_cast<char*>(bytes), text);
    EXPECT_EQ(constantBytes, bytes);
    EXPECT_EQ(untyped, text);
    EXPECT_EQ(constantUntyped, text);
    EXPECT_EQ(std::memcmp(block, "abc", 3), 0);
}

TEST(JByteTest, HasATableWithNothingButItsDestructor) {
    EXPECT_TRUE(std::has_virtual_destructor_v<JByte>);
    EXPECT_FALSE((std::is_convertible_v<int, JByte>));
}
