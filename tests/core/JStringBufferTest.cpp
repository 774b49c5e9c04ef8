#include "core/JStringBuffer.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

#include "core/JString.h"
#include "support/JStringBufferPeer.h"

using Peer = jay::detail::JStringBufferPeer;

namespace {

void fill(JStringBuffer& buffer, int n) {
    for (int i = 0; i < n; ++i) buffer.append("x");
}

}  // namespace

TEST(JStringBufferTest, StartsWithoutStorage) {
    JStringBuffer buffer;
    EXPECT_EQ(Peer::data(buffer), nullptr);
    EXPECT_EQ(Peer::capacity(buffer), 0);
    EXPECT_EQ(buffer.length(), 0);
    EXPECT_STREQ(buffer.toString(), "");
    EXPECT_EQ(buffer.toString().length(), 0);
}

TEST(JStringBufferTest, ASizedBufferHasRoomForThatManyBytes) {
    EXPECT_EQ(Peer::capacity(JStringBuffer(1000)), 1024);
    EXPECT_EQ(Peer::capacity(JStringBuffer(256)), 256);
    EXPECT_EQ(Peer::capacity(JStringBuffer(257)), 512);
    EXPECT_EQ(Peer::capacity(JStringBuffer(0)), 256);
    EXPECT_EQ(Peer::capacity(JStringBuffer(-7)), 256);
    EXPECT_EQ(JStringBuffer(1000).length(), 0);
}

TEST(JStringBufferTest, TheFirstBlockHolds256BytesExactly) {
    JStringBuffer buffer;
    fill(buffer, 256);
    EXPECT_EQ(Peer::capacity(buffer), 256);
    EXPECT_EQ(buffer.length(), 256);
    const char* text = buffer;
    EXPECT_EQ(Peer::capacity(buffer), 512);
    EXPECT_EQ(std::string(text), std::string(256, 'x'));
    EXPECT_EQ(buffer.length(), 256);
}

TEST(JStringBufferTest, ReadingFewerBytesDoesNotGrowTheStorage) {
    JStringBuffer buffer;
    fill(buffer, 255);
    EXPECT_EQ(std::strlen(buffer), 255u);
    EXPECT_EQ(Peer::capacity(buffer), 256);
}

TEST(JStringBufferTest, GrowsToTheNextBlockAboveTheNeed) {
    JStringBuffer buffer;
    fill(buffer, 256);
    buffer.append("y");
    EXPECT_EQ(Peer::capacity(buffer), 512);
    buffer.append(std::string(255, 'z').c_str());
    EXPECT_EQ(Peer::capacity(buffer), 512);
    EXPECT_EQ(buffer.length(), 512);
    buffer.append(std::string(1000, 'w').c_str());
    EXPECT_EQ(Peer::capacity(buffer), 1536);
    const std::string expected = std::string(256, 'x') + "y" + std::string(255, 'z') + std::string(1000, 'w');
    EXPECT_EQ(std::string(buffer), expected);
}

TEST(JStringBufferTest, StorageIsZeroFilled) {
    JStringBuffer buffer;
    buffer.append("abc");
    EXPECT_EQ(std::string(Peer::data(buffer) + 3, 253), std::string(253, '\0'));
    buffer.resize(400);
    EXPECT_EQ(std::string(Peer::data(buffer), 512), "abc" + std::string(509, '\0'));
}

TEST(JStringBufferTest, ResizeNeverShrinksAndNeverChangesTheLength) {
    JStringBuffer buffer(1000);
    buffer.append("abc");
    const char* data = Peer::data(buffer);
    buffer.resize(0);
    buffer.resize(-5000);
    buffer.resize(INT_MIN);
    buffer.resize(1021);
    EXPECT_EQ(Peer::capacity(buffer), 1024);
    EXPECT_EQ(Peer::data(buffer), data);
    EXPECT_EQ(buffer.length(), 3);
    buffer.resize(1022);
    EXPECT_EQ(Peer::capacity(buffer), 1280);
    EXPECT_EQ(buffer.length(), 3);
    EXPECT_STREQ(buffer, "abc");
}

TEST(JStringBufferTest, ResizeBeyondTheLimitFailsAsAnAllocation) {
    JStringBuffer buffer;
    buffer.append("abc");
    EXPECT_THROW(buffer.resize(INT_MAX), std::bad_alloc);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(Peer::capacity(buffer), 256);
    EXPECT_THROW(JStringBuffer{INT_MAX}, std::bad_alloc);
}

TEST(JStringBufferTest, AppendsTextsAndReturnsItself) {
    JStringBuffer buffer;
    JString string("def");
    EXPECT_EQ(&buffer.append("abc"), &buffer);
    EXPECT_EQ(&buffer.append(string), &buffer);
    EXPECT_EQ(&buffer.append('g'), &buffer);
    EXPECT_EQ(&buffer.append(-12), &buffer);
    EXPECT_EQ(&buffer.append(34L), &buffer);
    EXPECT_STREQ(buffer, "abcdefg-1234");
    EXPECT_EQ(buffer.length(), 12);
}

TEST(JStringBufferTest, AppendsTheTextOfAStringUpToItsNul) {
    JStringBuffer buffer;
    buffer.append(JString("  abc").trimLeft()).append(JString(5)).append("!");
    EXPECT_STREQ(buffer, "bc!");
    EXPECT_EQ(buffer.length(), 3);
}

TEST(JStringBufferTest, AppendingNothingLeavesTheLength) {
    JStringBuffer buffer;
    buffer.append('\0').append("").append(JString()).append(static_cast<const char*>(nullptr));
    EXPECT_EQ(buffer.length(), 0);
    EXPECT_EQ(Peer::capacity(buffer), 256);
    EXPECT_STREQ(buffer, "");
}

TEST(JStringBufferTest, RendersNumbersAsStringsDo) {
    JStringBuffer buffer;
    buffer.append(INT_MIN).append(' ').append(4294967295u).append(' ');
    buffer.append(static_cast<unsigned long>(4294967295u)).append(' ');
    buffer.append(4294967296LL).append(' ').append(ULLONG_MAX).append(' ');
    buffer.append(static_cast<signed char>('c'));
    EXPECT_STREQ(buffer, "-2147483648 -1 -1 4294967296 -1 c");
}

TEST(JStringBufferTest, ALongIsRenderedThroughAnInt) {
    JStringBuffer buffer;
    buffer.append(LONG_MAX);
    EXPECT_STREQ(buffer, sizeof(long) == sizeof(int) ? "2147483647" : "-1");
}

TEST(JStringBufferTest, MayBeAppendedToItself) {
    JStringBuffer buffer;
    fill(buffer, 200);
    const char* own = buffer;
    buffer.append(own);  // moves the storage that is being copied
    EXPECT_EQ(std::string(buffer), std::string(400, 'x'));
    buffer.append(static_cast<const char*>(buffer) + 395);
    EXPECT_EQ(buffer.length(), 405);
    EXPECT_EQ(std::string(buffer), std::string(405, 'x'));
}

TEST(JStringBufferTest, OnlyReadingTerminatesTheText) {
    JStringBuffer buffer;
    buffer.append("abc");
    Peer::data(buffer)[3] = '#';
    buffer.toString();
    EXPECT_EQ(Peer::data(buffer)[3], '#');
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(Peer::data(buffer)[3], '\0');
}

TEST(JStringBufferTest, ToStringHoldsTheText) {
    JStringBuffer buffer;
    fill(buffer, 256);
    const JString text = buffer.toString();
    EXPECT_EQ(text.length(), 256);
    EXPECT_EQ(std::string(text), std::string(256, 'x'));
    EXPECT_EQ(Peer::capacity(buffer), 256);
}

TEST(JStringBufferTest, ReadingAnEmptyBufferGivesTheEmptyText) {
    JStringBuffer buffer;
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(Peer::capacity(buffer), 256);
}

TEST(JStringBufferTest, ClearFreesTheStorage) {
    JStringBuffer buffer(1000);
    buffer.append("abc").clear();
    EXPECT_EQ(Peer::data(buffer), nullptr);
    EXPECT_EQ(Peer::capacity(buffer), 0);
    EXPECT_EQ(buffer.length(), 0);
    buffer.clear();
    buffer.append('x');
    EXPECT_EQ(Peer::capacity(buffer), 256);
    EXPECT_STREQ(buffer, "x");
}

TEST(JStringBufferTest, IsNotCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<JStringBuffer>);
    EXPECT_FALSE(std::is_copy_assignable_v<JStringBuffer>);
}
