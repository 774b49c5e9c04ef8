// What remains of texts and blocks when the memory for a change cannot be had. The array forms of new and
// delete are replaced for the whole test program; they fail on demand and do as always otherwise.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <string>

#include "core/detail/TextSize.h"
#include "core/JByte.h"
#include "core/JString.h"
#include "core/JStringBuffer.h"
#include "support/JStringBufferPeer.h"

namespace {

thread_local int allocationsUntilFailure = 0;  // 0: none fails

/** Lets the n-th array allocation of this thread fail, within a scope. */
class FailingAllocation {
public:
    explicit FailingAllocation(int n = 1) { allocationsUntilFailure = n; }
    ~FailingAllocation() { allocationsUntilFailure = 0; }
};

std::string contents(const JByte& block) {
    return std::string(static_cast<const char*>(block), static_cast<std::size_t>(block.size()));
}

}  // namespace

void* operator new[](std::size_t size) {
    if (allocationsUntilFailure > 0 && --allocationsUntilFailure == 0) throw std::bad_alloc();
    void* block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void operator delete[](void* block) noexcept {
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}

TEST(AllocationFailure, IsReportedByEveryConstructor) {
    const JString s("abc");
    const FailingAllocation failing;
    EXPECT_THROW(JString{"abc"}, std::bad_alloc);
    allocationsUntilFailure = 1;
    EXPECT_THROW(JString{100}, std::bad_alloc);
    allocationsUntilFailure = 1;
    EXPECT_THROW(JString{s}, std::bad_alloc);
    allocationsUntilFailure = 1;
    EXPECT_THROW(JByte{100}, std::bad_alloc);
    allocationsUntilFailure = 2;
    EXPECT_THROW(JStringBuffer{300}, std::bad_alloc) << "the first block must not leak";
}

TEST(AllocationFailure, OfAnAppendLeavesTheString) {
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

TEST(AllocationFailure, OfAnAssignmentLeavesTheString) {
    JString s("abc");
    {
        const FailingAllocation failing;
        EXPECT_THROW(s = "defghi", std::bad_alloc);
    }
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(s.length(), 3);
}

TEST(AllocationFailure, LeavesTheBlock) {
    JByte block("abc", 0, 3);
    const JByte larger("0123456789", 0, 10);
    {
        const FailingAllocation failing;
        EXPECT_THROW(block = larger, std::bad_alloc);
        allocationsUntilFailure = 1;
        EXPECT_THROW(block.resize(100), std::bad_alloc);
    }
    EXPECT_EQ(contents(block), "abc");
}

TEST(AllocationFailure, LeavesTheStringBuffer) {
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

TEST(AllocationFailure, IsWhatATextBeyondTheLengthsRangeMeets) {
    EXPECT_EQ(jay::detail::textSize(static_cast<std::size_t>(INT_MAX)), INT_MAX);
    EXPECT_THROW(jay::detail::textSize(static_cast<std::size_t>(INT_MAX) + 1), std::bad_alloc);
    EXPECT_THROW(jay::detail::textSize(static_cast<long long>(INT_MAX) + 1), std::bad_alloc);
}
