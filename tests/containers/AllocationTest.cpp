// What the containers allocate, and what remains when they cannot.
#include <gtest/gtest.h>

#include "containers/JCachetable.h"
#include "containers/JHashtable.h"
#include "Keys.h"
#include "support/allocation/FailingAllocator.h"

using containers::Name;
using support::allocationsOf;
using support::failEachAllocation;
using support::FailingAllocation;
using support::FailingAllocator;

TEST(AllocationTest, TheHashTablesLookUpsAllocateNothing) {
    JHashtable table;
    Name known("known");
    Name unknown("unknown");
    EXPECT_GT(allocationsOf([&] { table.put(known, known); }), 0);
    EXPECT_EQ(allocationsOf([&] {
                  table.get(known);
                  table.get(&known);
                  table.getEntry(known);
                  table.get(unknown);
                  table.getEntry(&unknown);
                  table.remove(unknown);
                  table.remove(known);
              }),
              0);
}

TEST(AllocationTest, TheCachesLookUpsAllocateNothing) {
    JCachetable cache;
    Name known("known");
    Name other("other");
    Name unknown("unknown");
    cache.addElement(known, known);
    cache.addElement(other, other);
    EXPECT_EQ(allocationsOf([&] {
                  cache.getElement(known);
                  cache.getElement(unknown);
                  cache.getEntry(other);
                  cache.removeElement(unknown);
                  cache.removeElement(known);
                  cache.clear();
              }),
              0);
}

TEST(AllocationTest, FailingAnywhereInPutLeavesTheTable) {
    JHashtable table(1, 2.0F);
    Name first("first");
    Name second("second");
    Name key("key");
    Name value("value");
    table.put(first, first);
    table.put(second, second);
    table.reallocation();
    // The entry, the key and its text, the value and its text.
    const int failures =
        failEachAllocation([&] { table.put(key, value); },
                           [&] {
                               EXPECT_EQ(table.size(), 2);
                               EXPECT_EQ(table.get(key), nullptr);
                               EXPECT_STREQ(static_cast<JString&>(*table.get(first)), "first");
                               EXPECT_STREQ(static_cast<JString&>(*table.get(second)), "second");
                           });
    EXPECT_EQ(failures, 5);
    EXPECT_EQ(table.size(), 3);
    EXPECT_STREQ(static_cast<JString&>(*table.get(key)), "value");
}

TEST(AllocationTest, FailingToGrowLeavesTheTable) {
    JHashtable table(1, 1.0F);
    Name first("first");
    Name second("second");
    table.put(first, first);
    {
        const FailingAllocation failing;
        EXPECT_THROW(table.put(second, second), std::bad_alloc);
    }
    EXPECT_EQ(table.capacity(), 1);
    EXPECT_EQ(table.size(), 1);
    EXPECT_STREQ(static_cast<JString&>(*table.get(first)), "first");
}

TEST(AllocationTest, FailingToReplaceAValueKeepsTheOldOne) {
    JHashtable table;
    Name key("key");
    Name value("value");
    table.put(key, key);
    const int failures = failEachAllocation(
        [&] { table.put(key, value); }, [&] { EXPECT_STREQ(static_cast<JString&>(*table.get(key)), "key"); });
    EXPECT_EQ(failures, 2);
    EXPECT_STREQ(static_cast<JString&>(*table.get(key)), "value");
}

TEST(AllocationTest, FailingToInitializeLeavesTheTable) {
    JHashtable table;
    Name key("key");
    table.put(key, key);
    {
        const FailingAllocation failing;
        EXPECT_THROW(table.initialize(10, 1.0F), std::bad_alloc);
    }
    EXPECT_EQ(table.capacity(), 533);
    EXPECT_EQ(table.size(), 1);
    EXPECT_NE(table.get(key), nullptr);
}

TEST(AllocationTest, FailingToInitializeLeavesTheCache) {
    JCachetable cache(2);
    Name key("key");
    cache.addElement(key, key);
    const long before = FailingAllocator::blocks();
    const int failures = failEachAllocation([&] { cache.initialize(3); },
                                            [&] {
                                                EXPECT_EQ(cache.capacity(), 2);
                                                EXPECT_NE(cache.getEntry(key), nullptr);
                                            });
    EXPECT_EQ(failures, 2 + 3 + 2 + 1);
    EXPECT_EQ(cache.getEntry(key), nullptr);
    EXPECT_EQ(FailingAllocator::blocks(), before - 4 + 1)
        << "the pair and its texts are gone, a slot has come";
}

TEST(AllocationTest, FailingAnywhereInTheConstructorsReleasesTheRest) {
    EXPECT_EQ(failEachAllocation([] { JHashtable table(10); }, [] {}), 1);
    // Two links, three slots in two arrays, and the index.
    EXPECT_EQ(failEachAllocation([] { JCachetable cache(3); }, [] {}), 2 + 3 + 2 + 1);
}

TEST(AllocationTest, FailingAnywhereInAddElementLeavesTheOtherPairs) {
    JCachetable cache(2);
    Name first("first");
    Name key("key");
    cache.addElement(first, first);
    const int failures = failEachAllocation([&] { cache.addElement(key, key); },
                                            [&] {
                                                EXPECT_EQ(cache.getEntry(key), nullptr);
                                                cache.costMax(0);  // the empty slot is the next to be used
                                            });
    EXPECT_EQ(failures, 4);
    EXPECT_STREQ(static_cast<JString&>(*cache.getElement(first)), "first");
    EXPECT_STREQ(static_cast<JString&>(*cache.getElement(key)), "key");
}

TEST(AllocationTest, DestroyingReleasesEverything) {
    const long before = FailingAllocator::blocks();
    {
        JHashtable table(3);
        JCachetable cache(3);
        Name key("key");
        table.put(key, key);
        cache.addElement(key, key);
        table.keyList();  // the last one is the table's
        cache.removeElement(key);
        cache.addElement(key, key);
    }
    EXPECT_EQ(FailingAllocator::blocks(), before);
}
