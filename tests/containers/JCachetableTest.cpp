#include "containers/JCachetable.h"

#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <random>
#include <utility>
#include <vector>

#include "core/JString.h"
#include "Keys.h"
#include "support/JCachetablePeer.h"

using containers::Key;
using containers::Name;
using containers::UnclonableKey;
using containers::UnclonableValue;
using support::Counted;
using support::CountedTest;
using support::numberOf;
using Peer = jay::detail::JCachetablePeer;

namespace {

constexpr int EMPTY = -1;

class Failing : public Counted {
public:
    using Counted::Counted;
    JObject* clone() override { throw std::bad_alloc(); }
};

class JCachetableTest : public CountedTest {
protected:
    static void add(JCachetable& cache, int key, int value) {
        Key k(key);
        Counted v(value);
        cache.addElement(k, v);
    }
    /** The value's number, or EMPTY. */
    static int get(JCachetable& cache, int key) {
        Key k(key);
        const JObject* const value = cache.getElement(k);
        return value != nullptr ? numberOf(value) : EMPTY;
    }
    static void remove(JCachetable& cache, int key) {
        Key k(key);
        cache.removeElement(k);
    }
    static JCacheEntry* entryOf(JCachetable& cache, int key) {
        Key k(key);
        return cache.getEntry(k);
    }

    /** The slots, or what keys they hold, from most to least recent. */
    static std::vector<int> slots(JCachetable& cache) {
        return walk(cache, [](const JCacheEntry* entry) { return entry->slot; });
    }

    /** Three slots, the most recent one first, linked in both directions. */
    static void expectRecency(JCachetable& cache, const std::vector<int>& order) {
        EXPECT_EQ(slots(cache), order);
        EXPECT_EQ(Peer::mostRecent(cache), order.front());
        EXPECT_EQ(Peer::leastRecent(cache), order.back());
        EXPECT_EQ(Peer::previous(cache, order[0]), -1);
        EXPECT_EQ(Peer::previous(cache, order[1]), order[0]);
        EXPECT_EQ(Peer::previous(cache, order[2]), order[1]);
    }

    static std::vector<int> keys(JCachetable& cache) {
        return walk(cache, [](const JCacheEntry* entry) {
            return entry->key != nullptr ? numberOf(entry->key) : EMPTY;
        });
    }
    template <class Reading>
    static std::vector<int> walk(JCachetable& cache, Reading reading) {
        const std::unique_ptr<JEnumeration> entries(cache.getEntries());
        std::vector<int> read;
        while (entries->hasMoreElements() != 0)
            read.push_back(reading(static_cast<JCacheEntry*>(entries->nextElement())));
        return read;
    }

    static void expectCounters(const JCachetable& cache, int requests, int hits, int faults) {
        EXPECT_EQ(cache.requests(), requests);
        EXPECT_EQ(cache.hits(), hits);
        EXPECT_EQ(cache.faults(), faults);
    }
};

}  // namespace

// ---- shape ----

TEST_F(JCachetableTest, AnEntryDeletesItsPair) {
    auto* entry = new JCacheEntry(3);
    EXPECT_EQ(entry->slot, 3);
    entry->key = new Counted(1);
    entry->value = new Counted(2);
    delete static_cast<JObject*>(entry);
    EXPECT_EQ(happened(), (Log{"delete 1", "delete 2"}));
}

TEST_F(JCachetableTest, IsEmptyAtFirst) {
    EXPECT_EQ(JCachetable::DEFAULT_CAPACITY, 20);
    const JCachetable cache;
    EXPECT_EQ(cache.capacity(), 20);
    EXPECT_EQ(cache.size(), 0);
    EXPECT_FALSE(cache.isFull());
    expectCounters(cache, 0, 0, 0);
    EXPECT_EQ(Peer::mostRecent(cache), 0);
    EXPECT_EQ(Peer::leastRecent(cache), 0);
    EXPECT_EQ(Peer::indexCapacity(cache), 533);
    EXPECT_EQ(Peer::indexCount(cache), 0);
    EXPECT_EQ(Peer::duplicates(cache), 0);
    EXPECT_EQ(Peer::indexThreshold(cache), 2132);
    EXPECT_EQ(Peer::indexLoadFactor(cache), 4.0F);
    for (int i = 0; i < 533; i++) EXPECT_EQ(Peer::bucket(cache, i), nullptr);
}

TEST_F(JCachetableTest, MakesAllSlotsAtOnce) {
    const JCachetable cache(3);
    for (int i = 0; i < 3; i++) {
        const JCacheEntry& entry = *Peer::entry(cache, i);
        EXPECT_EQ(entry.slot, i);
        EXPECT_EQ(entry.useCount, 0);
        EXPECT_EQ(entry.hash, 0);
        EXPECT_EQ(entry.next, nullptr);
        EXPECT_EQ(entry.key, nullptr);
        EXPECT_EQ(entry.value, nullptr);
        EXPECT_EQ(Peer::previous(cache, i), -1);
        EXPECT_EQ(Peer::following(cache, i), -1);
    }
}

TEST_F(JCachetableTest, WithoutSlotsItKeepsNothing) {
    for (int capacity : {0, -1, INT_MIN}) {
        JCachetable cache(capacity);
        EXPECT_EQ(cache.capacity(), capacity);
        EXPECT_TRUE(cache.isFull());
        add(cache, 1, 10);
        EXPECT_EQ(get(cache, 1), EMPTY);
        remove(cache, 1);
        cache.costMax(0);
        cache.costMin(0);
        EXPECT_EQ(keys(cache), std::vector<int>{});
        cache.clear();
        EXPECT_EQ(cache.size(), 0);
    }
}

TEST_F(JCachetableTest, InitializingMakesAnEmptyCacheOfAnotherSize) {
    JCachetable cache(2);
    add(cache, 1, 10);
    add(cache, 2, 20);
    EXPECT_EQ(get(cache, 1), 10);
    EXPECT_EQ(get(cache, 3), EMPTY);
    cache.reallocation();
    cache.initialize(3);
    EXPECT_EQ(alive(), 0);
    EXPECT_EQ(cache.capacity(), 3);
    EXPECT_EQ(cache.size(), 0);
    expectCounters(cache, 0, 0, 0);
    EXPECT_EQ(keys(cache), std::vector<int>{EMPTY});
    for (int key = 1; key <= 4; key++) add(cache, key, 10 * key);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, 3, 2}));
}

TEST_F(JCachetableTest, InitializingWithoutSlotsKeepsNothing) {
    JCachetable cache(2);
    add(cache, 1, 10);
    cache.initialize(0);
    add(cache, 2, 20);
    EXPECT_EQ(alive(), 0);
    EXPECT_TRUE(cache.isFull());
}

TEST_F(JCachetableTest, CountersWrapAround) {
    JCachetable cache(1);
    add(cache, 1, 10);
    entryOf(cache, 1)->useCount = INT_MAX;
    Peer::setCounters(cache, INT_MAX);
    get(cache, 1);
    get(cache, 2);
    expectCounters(cache, INT_MIN + 1, INT_MIN, INT_MIN);
    EXPECT_EQ(entryOf(cache, 1)->useCount, INT_MIN);
    add(cache, 1, 11);
    EXPECT_EQ(Peer::duplicates(cache), INT_MIN);
}

// ---- adding ----

TEST_F(JCachetableTest, AddingStoresClonesKeyFirst) {
    JCachetable cache;
    Key key(7, 1000);
    Counted value(8);
    cache.addElement(key, value);
    EXPECT_EQ(happened(), (Log{"clone key 7", "clone 8"}));
    JCacheEntry* const entry = cache.getEntry(key);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry, Peer::entry(cache, 0));
    EXPECT_EQ(entry->hash, 1000);
    EXPECT_EQ(entry->useCount, 1);
    EXPECT_NE(entry->key, &key);
    EXPECT_EQ(numberOf(entry->value), 8);
    EXPECT_EQ(Peer::bucket(cache, 1000 % 533), entry);
    EXPECT_EQ(Peer::indexCount(cache), 1);
    EXPECT_EQ(cache.size(), 1);
    EXPECT_EQ(Peer::duplicates(cache), 0);
    expectCounters(cache, 0, 0, 0);
}

TEST_F(JCachetableTest, SlotsAreTakenInTheirOrder) {
    JCachetable cache(3);
    for (int n = 0; n < 3; n++) {
        EXPECT_FALSE(cache.isFull());
        add(cache, n, n);
        EXPECT_EQ(cache.size(), n + 1);
        EXPECT_EQ(entryOf(cache, n)->slot, n);
        EXPECT_EQ(Peer::mostRecent(cache), n);
        EXPECT_EQ(Peer::leastRecent(cache), 0);
    }
    EXPECT_TRUE(cache.isFull());
    EXPECT_EQ(slots(cache), (std::vector<int>{2, 1, 0}));
}

TEST_F(JCachetableTest, AddingAKnownKeyDeletesTheOldValueBeforeItClones) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    get(cache, 1);
    get(cache, 2);
    JCacheEntry* const entry = entryOf(cache, 1);
    const JObject* const storedKey = entry->key;
    EXPECT_EQ(entry->useCount, 2);
    happened();
    Key key(1);
    Counted value(11);
    cache.addElement(key, value);
    EXPECT_EQ(happened(), (Log{"delete 10", "clone 11"}));
    EXPECT_EQ(cache.getEntry(key), entry);
    EXPECT_EQ(entry->key, storedKey);
    EXPECT_EQ(entry->useCount, 1);
    EXPECT_EQ(cache.size(), 3);
    EXPECT_EQ(Peer::indexCount(cache), 3);
    EXPECT_EQ(Peer::duplicates(cache), 1);
    EXPECT_EQ(keys(cache), (std::vector<int>{1, 2, 3}));
    expectCounters(cache, 2, 2, 0);
}

TEST_F(JCachetableTest, AFullCacheGivesUpTheLeastRecentPair) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    EXPECT_EQ(get(cache, 1), 10);
    happened();
    {
        Key key(4);
        Counted value(40);
        cache.addElement(key, value);
        EXPECT_EQ(happened(), (Log{"delete 2", "delete 20", "clone key 4", "clone 40"}));
    }
    expectCounters(cache, 1, 1, 0);
    EXPECT_EQ(cache.size(), 3);
    EXPECT_EQ(Peer::indexCount(cache), 3);
    EXPECT_EQ(entryOf(cache, 2), nullptr);
    EXPECT_EQ(entryOf(cache, 4)->slot, 1);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, 1, 3}));
}

TEST_F(JCachetableTest, OneSlotIsUsedAgainAndAgain) {
    JCachetable cache(1);
    for (int n = 0; n < 3; n++) {
        add(cache, n, n);
        EXPECT_EQ(keys(cache), std::vector<int>{n});
        EXPECT_EQ(get(cache, n), n);
    }
    EXPECT_EQ(alive(), 2);
    remove(cache, 2);
    EXPECT_EQ(keys(cache), std::vector<int>{EMPTY});
    add(cache, 9, 9);
    EXPECT_EQ(get(cache, 9), 9);
}

TEST_F(JCachetableTest, AValueThatDoesNotCloneIsStoredAsNull) {
    JCachetable cache;
    Key key(1);
    UnclonableValue value(2);
    cache.addElement(key, value);
    EXPECT_NE(cache.getEntry(key), nullptr);
    EXPECT_EQ(cache.getElement(key), nullptr);
    expectCounters(cache, 1, 1, 0);
    Counted other(3);
    cache.addElement(key, other);
    EXPECT_EQ(numberOf(cache.getElement(key)), 3);
    cache.addElement(key, value);
    EXPECT_EQ(cache.getElement(key), nullptr);
    cache.removeElement(key);
}

TEST_F(JCachetableTest, AKeyThatDoesNotCloneTakesASlotAndIsNeverFound) {
    JCachetable cache(2);
    UnclonableKey key(1);
    Counted value(2);
    cache.addElement(key, value);
    EXPECT_EQ(cache.getElement(key), nullptr);
    EXPECT_EQ(cache.size(), 1);
    EXPECT_EQ(Peer::indexCount(cache), 0);
    add(cache, 5, 50);
    add(cache, 6, 60);  // its slot is the first to be used again
    EXPECT_EQ(keys(cache), (std::vector<int>{6, 5}));
    EXPECT_EQ(alive(), 2 + 4);
    cache.addElement(key, value);
    cache.clear();
    add(cache, 7, 70);
    add(cache, 8, 80);
    EXPECT_EQ(keys(cache), (std::vector<int>{8, 7}));
    EXPECT_EQ(alive(), 2 + 4);
}

TEST_F(JCachetableTest, APairThatCannotBeClonedLeavesAnEmptySlot) {
    JCachetable cache(2);
    add(cache, 1, 10);
    Key key(2);
    Failing value(20);
    EXPECT_THROW(cache.addElement(key, value), std::bad_alloc);
    EXPECT_EQ(alive(), 2 + 2);
    EXPECT_EQ(cache.getEntry(key), nullptr);
    EXPECT_EQ(Peer::indexCount(cache), 1);
    EXPECT_EQ(keys(cache), (std::vector<int>{EMPTY, 1}));
    add(cache, 3, 30);
    add(cache, 4, 40);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, 3}));
}

TEST_F(JCachetableTest, AReplacementThatFailsLeavesNoValue) {
    JCachetable cache(2);
    add(cache, 1, 10);
    Key key(1);
    Failing value(20);
    EXPECT_THROW(cache.addElement(key, value), std::bad_alloc);
    ASSERT_NE(cache.getEntry(key), nullptr);
    EXPECT_EQ(cache.getEntry(key)->value, nullptr);
    add(cache, 1, 11);
    EXPECT_EQ(get(cache, 1), 11);
}

// ---- reading ----

TEST_F(JCachetableTest, AHitCountsAndMakesThePairTheMostRecent) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    JCacheEntry* const entry = entryOf(cache, 2);
    Key key(2);
    EXPECT_EQ(cache.getElement(key), entry->value);
    EXPECT_EQ(entry->useCount, 2);
    EXPECT_EQ(keys(cache), (std::vector<int>{2, 3, 1}));
    EXPECT_EQ(get(cache, 1), 10);
    EXPECT_EQ(get(cache, 1), 10);
    EXPECT_EQ(entryOf(cache, 1)->useCount, 3);
    EXPECT_EQ(keys(cache), (std::vector<int>{1, 2, 3}));
    expectCounters(cache, 3, 3, 0);
}

TEST_F(JCachetableTest, AFaultCountsAndChangesNothing) {
    JCachetable cache(3);
    for (int n = 1; n <= 2; n++) add(cache, n, n * 10);
    EXPECT_EQ(get(cache, 3), EMPTY);
    expectCounters(cache, 1, 0, 1);
    EXPECT_EQ(keys(cache), (std::vector<int>{2, 1}));
    EXPECT_EQ(cache.size(), 2);
}

TEST_F(JCachetableTest, LookingForAnEntryCountsNothingAndChangesNoOrder) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    EXPECT_EQ(entryOf(cache, 1)->useCount, 1);
    EXPECT_EQ(entryOf(cache, 9), nullptr);
    EXPECT_EQ(keys(cache), (std::vector<int>{3, 2, 1}));
    expectCounters(cache, 0, 0, 0);
}

TEST_F(JCachetableTest, DifferentStringsOfOneHashAreOneKey) {
    JCachetable cache;
    JString ab("ab");
    JString ac("ac");
    JString value("value");
    cache.addElement(ab, ab);
    cache.addElement(ac, value);
    EXPECT_EQ(cache.size(), 1);
    EXPECT_STREQ(static_cast<JString&>(*cache.getElement(ab)), "value");
    EXPECT_STREQ(static_cast<JString&>(*cache.getEntry(ac)->key), "ab");
}

TEST_F(JCachetableTest, KeysOfTheHashTablesExampleAreToldApart) {
    JCachetable cache;
    Name ab("ab");
    Name ac("ac");
    cache.addElement(ab, ab);
    cache.addElement(ac, ac);
    EXPECT_EQ(cache.size(), 2);
    EXPECT_STREQ(static_cast<JString&>(*cache.getElement(ab)), "ab");
    EXPECT_STREQ(static_cast<JString&>(*cache.getElement(ac)), "ac");
}

TEST_F(JCachetableTest, OnlyKeysWithTheWholeHashAreAsked) {
    JCachetable cache;
    Key a(1, -1);
    Key b(1, 0x7FFFFFFF);  // the same number and bucket, another hash
    cache.addElement(a, a);
    EXPECT_EQ(Peer::bucket(cache, 0x7FFFFFFF % 533), Peer::entry(cache, 0));
    Key::asked() = 0;
    EXPECT_EQ(cache.getEntry(b), nullptr);
    EXPECT_EQ(Key::asked(), 0);
}

// ---- removing ----

TEST_F(JCachetableTest, RemovingEmptiesTheSlotAndMovesItToTheTail) {
    JCachetable cache(4);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    get(cache, 2);
    JCacheEntry* const entry = entryOf(cache, 2);
    happened();
    Key key(2);
    cache.removeElement(key);
    EXPECT_EQ(happened(), (Log{"delete 2", "delete 20"}));
    EXPECT_EQ(entry->key, nullptr);
    EXPECT_EQ(entry->value, nullptr);
    EXPECT_EQ(entry->hash, 0);
    EXPECT_EQ(entry->next, nullptr);
    EXPECT_EQ(entry->useCount, 2);
    EXPECT_EQ(entry->slot, 1);
    EXPECT_EQ(cache.size(), 3);
    EXPECT_EQ(Peer::indexCount(cache), 2);
    EXPECT_EQ(keys(cache), (std::vector<int>{3, 1, EMPTY}));
    EXPECT_EQ(slots(cache), (std::vector<int>{2, 0, 1}));
    EXPECT_EQ(get(cache, 2), EMPTY);
}

TEST_F(JCachetableTest, RemovingAnAbsentKeyDoesNothing) {
    JCachetable cache(4);
    remove(cache, 1);
    add(cache, 1, 10);
    remove(cache, 2);
    EXPECT_EQ(Peer::indexCount(cache), 1);
    EXPECT_EQ(get(cache, 1), 10);
}

TEST_F(JCachetableTest, AnEmptiedSlotIsUsedAgainOnceTheCacheIsFull) {
    JCachetable cache(3);
    for (int n = 1; n <= 2; n++) add(cache, n, n * 10);
    remove(cache, 1);
    add(cache, 3, 30);  // a new slot: there is one
    EXPECT_EQ(entryOf(cache, 3)->slot, 2);
    EXPECT_TRUE(cache.isFull());
    add(cache, 4, 40);
    EXPECT_EQ(entryOf(cache, 4)->slot, 0);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, 3, 2}));
    EXPECT_EQ(Peer::indexCount(cache), 3);
}

TEST_F(JCachetableTest, AFullCacheTakesAnEmptiedSlotBeforeItGivesUpAPair) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    remove(cache, 3);
    happened();
    add(cache, 4, 40);
    EXPECT_EQ(cache.size(), 3);
    EXPECT_EQ(Peer::indexCount(cache), 3);
    EXPECT_EQ(entryOf(cache, 4)->slot, 2);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, 2, 1}));
}

TEST_F(JCachetableTest, EveryPairCanBeRemovedAndAddedAgain) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    for (int n = 1; n <= 3; n++) remove(cache, n);
    EXPECT_EQ(keys(cache), (std::vector<int>{EMPTY, EMPTY, EMPTY}));
    EXPECT_EQ(alive(), 0);
    for (int n = 4; n <= 6; n++) add(cache, n, n * 10);
    EXPECT_EQ(keys(cache), (std::vector<int>{6, 5, 4}));
}

// ---- clear ----

TEST_F(JCachetableTest, ClearDeletesPairsAndSetsAllCountersToNothing) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    add(cache, 3, 31);
    get(cache, 1);
    get(cache, 9);
    cache.clear();
    EXPECT_EQ(alive(), 0);
    EXPECT_EQ(cache.size(), 0);
    EXPECT_FALSE(cache.isFull());
    expectCounters(cache, 0, 0, 0);
    EXPECT_EQ(Peer::duplicates(cache), 0);
    EXPECT_EQ(Peer::indexCount(cache), 0);
    EXPECT_EQ(Peer::mostRecent(cache), 0);
    EXPECT_EQ(Peer::leastRecent(cache), 0);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(Peer::entry(cache, i)->key, nullptr);
        EXPECT_EQ(Peer::entry(cache, i)->value, nullptr);
        EXPECT_EQ(Peer::entry(cache, i)->hash, 0);
        EXPECT_EQ(Peer::entry(cache, i)->useCount, 0);
        EXPECT_EQ(Peer::entry(cache, i)->slot, i);
    }
    for (int i = 0; i < 533; i++) EXPECT_EQ(Peer::bucket(cache, i), nullptr);
}

TEST_F(JCachetableTest, ClearDeletesInChainOrderKeysFirst) {
    JCachetable cache(3);
    for (int n : {1, 2}) {
        Key key(n, 5);
        Counted value(n * 10);
        cache.addElement(key, value);
    }
    happened();
    cache.clear();
    EXPECT_EQ(happened(), (Log{"delete 2", "delete 20", "delete 1", "delete 10"}));
}

TEST_F(JCachetableTest, AfterClearSlotsAreTakenFromTheFirstAgain) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    get(cache, 1);
    get(cache, 2);
    cache.clear();
    for (int n = 0; n < 3; n++) {
        add(cache, 10 + n, n);
        EXPECT_EQ(entryOf(cache, 10 + n)->slot, n);
    }
    EXPECT_EQ(keys(cache), (std::vector<int>{12, 11, 10}));
    add(cache, 13, 3);
    EXPECT_EQ(keys(cache), (std::vector<int>{13, 12, 11}));
}

TEST_F(JCachetableTest, ClearLeavesTheLinksSoThatAWalkMayShowEmptySlots) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    get(cache, 1);
    EXPECT_EQ(slots(cache), (std::vector<int>{0, 2, 1}));
    cache.clear();
    EXPECT_EQ(slots(cache), (std::vector<int>{0, 2, 1}));
    EXPECT_EQ(keys(cache), (std::vector<int>{EMPTY, EMPTY, EMPTY}));
    add(cache, 4, 40);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, EMPTY, EMPTY}));
    add(cache, 5, 50);  // from here on they hold what they should
    EXPECT_EQ(keys(cache), (std::vector<int>{5, 4}));
}

TEST_F(JCachetableTest, MovingSlotsAfterClearHarmsNothing) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    get(cache, 1);
    cache.clear();
    for (int slot = -1; slot < 4; slot++) {
        cache.costMax(slot);
        cache.costMin(slot);
    }
    for (int n = 1; n <= 4; n++) add(cache, n, n * 10);
    EXPECT_EQ(keys(cache), (std::vector<int>{4, 3, 2}));
}

TEST_F(JCachetableTest, IsDestroyedWithItsObjectsThroughTheRoot) {
    auto* cache = new JCachetable(5);
    for (int n = 0; n < 8; n++) add(*cache, n, n);
    remove(*cache, 6);
    EXPECT_EQ(alive(), 8);
    delete static_cast<JObject*>(cache);
    EXPECT_EQ(alive(), 0);
}

// ---- recency list ----

TEST_F(JCachetableTest, CostMaxMovesASlotToTheHead) {
    const std::pair<int, std::vector<int>> cases[] = {{0, {0, 2, 1}}, {1, {1, 2, 0}}, {2, {2, 1, 0}}};
    for (const auto& [slot, order] : cases) {
        JCachetable cache(4);
        for (int n = 0; n < 3; n++) add(cache, n, n);
        cache.costMax(slot);
        expectRecency(cache, order);
    }
}

TEST_F(JCachetableTest, CostMinMovesASlotToTheTail) {
    const std::pair<int, std::vector<int>> cases[] = {{0, {2, 1, 0}}, {1, {2, 0, 1}}, {2, {1, 0, 2}}};
    for (const auto& [slot, order] : cases) {
        JCachetable cache(4);
        for (int n = 0; n < 3; n++) add(cache, n, n);
        cache.costMin(slot);
        expectRecency(cache, order);
    }
}

TEST_F(JCachetableTest, SlotsThatAreNotTakenAreNotMoved) {
    JCachetable cache(4);
    for (int slot : {-1, 0, 1, 3, 4, INT_MAX, INT_MIN}) {
        cache.costMax(slot);
        cache.costMin(slot);
    }
    EXPECT_EQ(slots(cache), std::vector<int>{0});
    for (int n = 0; n < 2; n++) add(cache, n, n);
    for (int slot : {-1, 2, 3, 4, INT_MAX, INT_MIN}) {
        cache.costMax(slot);
        cache.costMin(slot);
    }
    EXPECT_EQ(slots(cache), (std::vector<int>{1, 0}));
}

// ---- hash index ----

TEST_F(JCachetableTest, KeysOfOneHashShareABucketTheLaterFirst) {
    JCachetable cache;
    for (int n = 1; n <= 3; n++) {
        Key key(n, 42);
        cache.addElement(key, key);
    }
    const JCacheEntry* const first = Peer::bucket(cache, 42);
    EXPECT_EQ(numberOf(first->key), 3);
    EXPECT_EQ(numberOf(first->next->key), 2);
    EXPECT_EQ(numberOf(first->next->next->key), 1);
    EXPECT_EQ(first->next->next->next, nullptr);
    Key middle(2, 42);
    cache.removeElement(middle);
    EXPECT_EQ(first->next, Peer::entry(cache, 0));
}

TEST_F(JCachetableTest, AnEntryUnderAKnownKeyTakesThePlaceOfTheOther) {
    JCachetable cache;
    Key keys[] = {Key(1, 42), Key(2, 42), Key(3, 42)};
    for (Key& key : keys) cache.addElement(key, key);
    JCacheEntry* const found = cache.getEntry(keys[1]);
    JCacheEntry other(100);
    other.key = keys[1].clone();
    cache.addEntry(&keys[1], &other);
    EXPECT_EQ(Peer::duplicates(cache), 1);
    EXPECT_EQ(Peer::indexCount(cache), 3);
    EXPECT_EQ(cache.getEntry(keys[1]), &other);
    EXPECT_EQ(Peer::bucket(cache, 42)->next, &other);
    EXPECT_EQ(other.next, cache.getEntry(keys[0]));
    EXPECT_EQ(numberOf(found->key), 2);  // unlinked, not freed
    cache.removeEntry(&keys[1]);
    EXPECT_EQ(other.key, nullptr);
    EXPECT_EQ(Peer::indexCount(cache), 2);
    cache.clear();
    for (int n = 10; n < 15; n++) add(cache, n, n);  // takes the unlinked slot again
    EXPECT_EQ(get(cache, 11), 11);
}

TEST_F(JCachetableTest, AnEntryUnderItsOwnKeyIsOnlyCounted) {
    JCachetable cache;
    Key key(1);
    cache.addElement(key, key);
    JCacheEntry* const entry = cache.getEntry(key);
    cache.addEntry(&key, entry);
    EXPECT_EQ(Peer::duplicates(cache), 1);
    EXPECT_EQ(Peer::indexCount(cache), 1);
    EXPECT_EQ(entry->next, nullptr);
    EXPECT_EQ(cache.getEntry(key), entry);
}

TEST_F(JCachetableTest, AnEntryThatIsTakenOutStaysInTheRecencyList) {
    JCachetable cache(3);
    for (int n = 1; n <= 3; n++) add(cache, n, n * 10);
    Key absent(9);
    cache.removeEntry(&absent);
    EXPECT_EQ(Peer::indexCount(cache), 3);
    Key key(2);
    cache.removeEntry(&key);
    EXPECT_EQ(Peer::indexCount(cache), 2);
    EXPECT_EQ(cache.size(), 3);
    EXPECT_EQ(keys(cache), (std::vector<int>{3, EMPTY, 1}));
    add(cache, 4, 40);
    add(cache, 5, 50);  // meets the empty slot at the tail
    EXPECT_EQ(keys(cache), (std::vector<int>{5, 4, 3}));
}

TEST_F(JCachetableTest, TheIndexGrowsAt2132Entries) {
    JCachetable cache(3000);
    for (int n = 0; n < 2132; n++) add(cache, n, n);
    EXPECT_EQ(Peer::indexCapacity(cache), 533);
    add(cache, 0, 1);  // a known key
    EXPECT_EQ(Peer::indexCapacity(cache), 533);
    add(cache, 2132, 1);
    EXPECT_EQ(Peer::indexCapacity(cache), 1067);
    EXPECT_EQ(Peer::indexThreshold(cache), 4268);
    EXPECT_EQ(Peer::indexCount(cache), 2133);
    for (int n = 1; n < 2132; n++) ASSERT_EQ(get(cache, n), n);
}

TEST_F(JCachetableTest, GrowingTurnsChainsAroundAndAsksNoKey) {
    JCachetable cache;
    Key keys[] = {Key(1, 5), Key(2, 5), Key(3, 5 + 533), Key(4, -1)};
    for (Key& key : keys) cache.addElement(key, key);
    EXPECT_EQ(numberOf(Peer::bucket(cache, 5)->key), 3);
    happened();
    Key::hashed() = 0;
    Key::asked() = 0;
    cache.reallocation();
    EXPECT_EQ(Key::hashed(), 0);
    EXPECT_EQ(Key::asked(), 0);
    EXPECT_EQ(happened(), Log{});
    EXPECT_EQ(Peer::indexCapacity(cache), 1067);
    EXPECT_EQ(Peer::indexThreshold(cache), 4268);
    EXPECT_EQ(Peer::bucket(cache, 5), Peer::entry(cache, 0));
    EXPECT_EQ(Peer::bucket(cache, 5)->next, Peer::entry(cache, 1));
    EXPECT_EQ(Peer::bucket(cache, 5 + 533), Peer::entry(cache, 2));
    EXPECT_EQ(Peer::bucket(cache, 0x7FFFFFFF % 1067), Peer::entry(cache, 3));
}

namespace {

/** A key of a class of its own that forgets to override clone(): its clones are strings, which do not equal
 * it but each other. */
class Label : public JString {
public:
    using JString::JString;
    const JClass* getClass() const override { return &record; }

private:
    static constexpr JClass record = {"Label", sizeof(JString), &JString::classJString};
};

}  // namespace

TEST_F(JCachetableTest, AKeyIsHashedOnceAndLookedUpOncePerAddition) {
    JCachetable cache(2);
    Key::hashed() = 0;
    Key::asked() = 0;
    for (int n = 1; n <= 3; n++) add(cache, n, n);  // the third evicts the first
    EXPECT_EQ(Key::hashed(), 3);
    EXPECT_EQ(Key::asked(), 0);
    add(cache, 3, 30);
    EXPECT_EQ(Key::hashed(), 4);
    EXPECT_EQ(Key::asked(), 1);
    EXPECT_EQ(Peer::duplicates(cache), 1);
}

TEST_F(JCachetableTest, KeysThatForgetToCloneDisplaceEachOtherAndLeakNothing) {
    JCachetable cache(2);
    for (int n = 0; n < 10; n++) {
        Label key("key");
        Counted value(n);
        cache.addElement(key, value);
        EXPECT_EQ(cache.getEntry(key), nullptr);
        EXPECT_LE(alive(), 2 + 1);
    }
    EXPECT_GT(Peer::duplicates(cache), 0);
    cache.clear();
    for (int n = 0; n < 2; n++) add(cache, n, n);
    EXPECT_EQ(alive(), 4);
}

// ---- enumeration ----

TEST_F(JCachetableTest, KeysWhoseEqualsIsNotSymmetricLeaveTheIndexSound) {
    JCachetable cache(2);
    JString value("value");
    JString plain("ac");  // equal to every name with its hash, as its class is; no name is equal to it
    Name first("ab");
    cache.addElement(first, value);
    cache.addElement(plain, value);
    for (int i = 0; i < 600; i++) {
        Name name(JString("name ") + i * 100);
        cache.addElement(name, value);
    }
    Name absent("aX");
    EXPECT_EQ(cache.getElement(absent), nullptr);
    EXPECT_LE(Peer::indexCount(cache), 2);
}

TEST_F(JCachetableTest, ANewCacheShowsTheEmptyFirstSlotOnce) {
    JCachetable cache;
    const std::unique_ptr<JCacheEntries> walk(cache.getEntries());
    EXPECT_NE(walk->hasMoreElements(), 0);
    EXPECT_EQ(walk->nextElement(), Peer::entry(cache, 0));
    EXPECT_EQ(Peer::entry(cache, 0)->key, nullptr);
    EXPECT_EQ(walk->hasMoreElements(), 0);
    EXPECT_EQ(walk->nextElement(), nullptr);
    EXPECT_EQ(walk->nextElement(), nullptr);
    EXPECT_EQ(walk->hasMoreElements(), 0);
}

TEST_F(JCachetableTest, AskingDoesNotMoveOn) {
    JCachetable cache;
    for (int n = 1; n <= 2; n++) add(cache, n, n);
    const std::unique_ptr<JCacheEntries> walk(cache.getEntries());
    for (int i = 0; i < 5; i++) EXPECT_NE(walk->hasMoreElements(), 0);
    EXPECT_EQ(walk->nextElement(), Peer::entry(cache, 1));
    EXPECT_EQ(walk->nextElement(), Peer::entry(cache, 0));  // nor is asking needed
    EXPECT_EQ(walk->hasMoreElements(), 0);
}

// ---- any order of operations ----

namespace {

/** The same cache in plain words. */
struct Model {
    struct Slot {
        int slot;
        int key = EMPTY;
        int value = EMPTY;
        int useCount = 0;
    };
    int capacity;
    std::vector<Slot> order;  // from most to least recent
    int requests = 0;
    int hits = 0;
    int faults = 0;

    explicit Model(int slots) : capacity(slots) {}

    std::vector<Slot>::iterator find(int key) {
        return std::find_if(order.begin(), order.end(), [&](const Slot& slot) { return slot.key == key; });
    }
    void toHead(std::vector<Slot>::iterator slot) { std::rotate(order.begin(), slot, slot + 1); }
    int get(int key) {
        requests++;
        const auto found = find(key);
        if (found == order.end()) return faults++, EMPTY;
        hits++;
        found->useCount++;
        toHead(found);
        return order.front().value;
    }
    void add(int key, int value) {
        auto slot = find(key);
        if (slot == order.end() && static_cast<int>(order.size()) < capacity)
            slot = order.insert(order.end(), Slot{static_cast<int>(order.size())});
        if (slot == order.end()) --slot;
        slot->key = key;
        slot->value = value;
        slot->useCount = 1;
        toHead(slot);
    }
    void remove(int key) {
        const auto found = find(key);
        if (found == order.end()) return;
        found->key = EMPTY;
        found->value = EMPTY;
        std::rotate(found, found + 1, order.end());
    }
    void clear() { *this = Model(capacity); }
    int pairs() const {
        return static_cast<int>(
            std::count_if(order.begin(), order.end(), [](const Slot& slot) { return slot.key != EMPTY; }));
    }
};

int numberOrEmpty(const JObject* object) {
    return object != nullptr ? numberOf(object) : EMPTY;
}

/** Behind the only slot there may follow what clear() left. */
void expectSame(JCachetable& cache, const Model& model) {
    ASSERT_EQ(cache.size(), static_cast<int>(model.order.size()));
    ASSERT_EQ(Peer::indexCount(cache), model.pairs());
    ASSERT_EQ(cache.requests(), model.requests);
    ASSERT_EQ(cache.hits(), model.hits);
    ASSERT_EQ(cache.faults(), model.faults);
    const std::unique_ptr<JCacheEntries> walk(cache.getEntries());
    for (const Model::Slot& slot : model.order) {
        const auto* const entry = static_cast<JCacheEntry*>(walk->nextElement());
        ASSERT_NE(entry, nullptr);
        ASSERT_EQ(entry->slot, slot.slot);
        ASSERT_EQ(numberOrEmpty(entry->key), slot.key);
        ASSERT_EQ(numberOrEmpty(entry->value), slot.value);
        ASSERT_EQ(entry->useCount, slot.useCount);
    }
    if (model.order.size() > 1) {
        ASSERT_EQ(walk->hasMoreElements(), 0);
    }
}

}  // namespace

TEST_F(JCachetableTest, BehavesAsItsModelInAnyOrderOfOperations) {
    for (int capacity : {1, 2, 3, 8, 20}) {
        std::mt19937 random(static_cast<unsigned>(capacity));
        JCachetable cache(capacity);
        Model model(capacity);
        for (int step = 0; step < 6000; step++) {
            const int n = static_cast<int>(random() % 30);
            Key key(n, n % 7 - 3);
            switch (random() % 8) {
                case 0:
                case 1:
                case 2: {
                    Counted value(step);
                    cache.addElement(key, value);
                    model.add(n, step);
                    break;
                }
                case 3:
                    cache.removeElement(key);
                    model.remove(n);
                    break;
                case 4:
                    if (random() % 50 == 0) cache.clear(), model.clear();
                    break;
                case 5:
                    ASSERT_EQ(cache.getEntry(key) != nullptr, model.find(n) != model.order.end());
                    break;
                default:
                    ASSERT_EQ(numberOrEmpty(cache.getElement(key)), model.get(n));
            }
            ASSERT_NO_FATAL_FAILURE(expectSame(cache, model)) << step;
            ASSERT_EQ(alive(), 2 * model.pairs() + 1);
            Counted::log().clear();
        }
    }
}
