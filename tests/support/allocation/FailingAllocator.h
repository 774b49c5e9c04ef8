/**
 * @file An allocator that counts and fails on demand. FailingAllocator.cpp takes the place of new and delete for the whole
 * test program that it is linked into. All numbers are those of the calling thread.
 */
#ifndef JAY_TESTS_SUPPORT_ALLOCATION_FAILINGALLOCATOR_H
#define JAY_TESTS_SUPPORT_ALLOCATION_FAILINGALLOCATOR_H

#include <gtest/gtest.h>
#include <new>

namespace support {

class FailingAllocator {
public:
    static long allocations();      ///< made so far
    static long blocks();           ///< allocated and not released yet
    static void failAfter(long n);  ///< the n-th allocation from now on fails, once; 0: none does
};

/** Lets the n-th allocation of this thread fail, within a scope. */
class FailingAllocation {
public:
    explicit FailingAllocation(long n = 1) { FailingAllocator::failAfter(n); }
    ~FailingAllocation() { FailingAllocator::failAfter(0); }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

/** How many allocations an operation makes. */
template <class Operation>
long allocationsOf(Operation operation) {
    const long before = FailingAllocator::allocations();
    operation();
    return FailingAllocator::allocations() - before;
}

/**
 * Lets the first, the second, ... allocation of an operation fail until the operation succeeds. After each failure no
 * block is left of it, and `check` is called. Returns the number of failures.
 */
template <class Operation, class Check>
int failEachAllocation(Operation operation, Check check) {
    for (int failures = 0;; failures++) {
        const long before = FailingAllocator::blocks();
        bool failed = false;
        try {
            const FailingAllocation failing(failures + 1);
            operation();
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        if (!failed) return failures;
        EXPECT_EQ(FailingAllocator::blocks(), before) << "leaked at allocation " << failures + 1;
        check();
    }
}

}  // namespace support

#endif
