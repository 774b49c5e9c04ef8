// What remains of texts and blocks when the memory for a change cannot be had.
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <utility>

#include "core/detail/TextSize.h"
#include "core/JByte.h"
#include "core/JString.h"
#include "core/JStringBuffer.h"
#include "support/allocation/FailingAllocator.h"
#include "support/JStringBufferPeer.h"

using support::allocationsOf;
using support::FailingAllocation;
using support::FailingAllocator;

namespace {

std::string contents(const JByte& block) {
    return std::string(static_cast<const char*>(block), static_cast<std::size_t>(block.size()));
}

}  // namespace

TEST(AllocationFailureTest, IsReportedByEveryConstructor) {
    const JString s("abc");
    const FailingAllocation failing;
    EXPECT_THROW(JString{"abc"}, std::bad_alloc);
    FailingAllocator::failAfter(1);
    EXPECT_THROW(JString{100}, std::bad_alloc);
    FailingAllocator::failAfter(1);
    EXPECT_THROW(JString{s}, std::bad_alloc);
    FailingAllocator::failAfter(1);
    EXPECT_THROW(JByte{100}, std::bad_alloc);
    FailingAllocator::failAfter(2);
    EXPECT_THROW(JStringBuffer{300}, std::bad_alloc) << "the first block must not leak";
}

TEST(AllocationFailureTest, OfAnAppendLeavesTheString) {
    JString s("abc");
    const int hash = s.hashCode();
    {
        const FailingAllocation failing;
        EXPECT_THROW(s += "def", std::bad_alloc);
    }
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(s.length(), 3);
    EXPECT_EQ(s.hashCode(), hash);
    s += "def";
    EXPECT_STREQ(s, "abcdef");
}

TEST(AllocationFailureTest, OfAnAssignmentLeavesTheString) {
    JString s("abc");
    {
        const FailingAllocation failing;
        EXPECT_THROW(s = "defghi", std::bad_alloc);
    }
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(s.length(), 3);
}

TEST(AllocationFailureTest, LeavesTheBlock) {
    JByte block("abc", 0, 3);
    const JByte larger("0123456789", 0, 10);
    {
        const FailingAllocation failing;
        EXPECT_THROW(block = larger, std::bad_alloc);
        FailingAllocator::failAfter(1);
        EXPECT_THROW(block.resize(100), std::bad_alloc);
    }
    EXPECT_EQ(contents(block), "abc");
}

TEST(AllocationFailureTest, LeavesTheStringBuffer) {
    JStringBuffer buffer;
    buffer.append("abc");
    const std::string longer(300, 'x');
    {
        const FailingAllocation failing;
        EXPECT_THROW(buffer.append(longer.c_str()), std::bad_alloc);
    }
    EXPECT_EQ(buffer.length(), 3);
    EXPECT_EQ(jay::detail::JStringBufferPeer::capacity(buffer), 256);
    EXPECT_STREQ(buffer, "abc");
}

TEST(AllocationFailureTest, IsWhatATextBeyondTheLengthsRangeMeets) {
    EXPECT_EQ(jay::detail::textSize(static_cast<std::size_t>(INT_MAX)), INT_MAX);
    EXPECT_THROW(jay::detail::textSize(static_cast<std::size_t>(INT_MAX) + 1), std::bad_alloc);
    EXPECT_THROW(jay::detail::textSize(static_cast<long long>(INT_MAX) + 1), std::bad_alloc);
}

TEST(AllocationTest, TextsAllocateOnceOrNotAtAll) {
    const JString a("a text of some length");
    const JString b("another one");
    JString target("a text of equal size.");
    EXPECT_EQ(allocationsOf([] { JString empty; }), 0);
    EXPECT_EQ(allocationsOf([] { JString empty(""); }), 0);
    EXPECT_EQ(allocationsOf([&] { JString copy(a); }), 1);
    EXPECT_EQ(allocationsOf([&] { JString joined(a + b); }), 1);
    EXPECT_EQ(allocationsOf([&] { JString joined("literal" + b); }), 1);
    EXPECT_EQ(allocationsOf([&] { JString joined(a + 5 + 'c'); }), 2);
    EXPECT_EQ(allocationsOf([&] { target = a; }), 0);
    EXPECT_EQ(allocationsOf([&] { target = a + b; }), 1);
    EXPECT_EQ(allocationsOf([&] { JString moved(std::move(target)); }), 0);
}
