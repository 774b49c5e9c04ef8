#include "containers/JHashtable.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "containers/detail/Buckets.h"
#include "core/JInteger.h"
#include "core/JString.h"
#include "Keys.h"
#include "support/JHashtablePeer.h"

using containers::Key;
using containers::Name;
using containers::UnclonableKey;
using containers::UnclonableValue;
using jay::detail::thresholdOf;
using support::Counted;
using support::CountedTest;
using support::numberOf;
using Peer = jay::detail::JHashtablePeer;

namespace {

/** A value whose clone fails, as an allocation would. */
class Failing : public Counted {
public:
    using Counted::Counted;
    JObject* clone() override { throw std::bad_alloc(); }
};

class FailingKey : public Key {
public:
    using Key::Key;
    JObject* clone() override { throw std::bad_alloc(); }
};

class JHashtableTest : public CountedTest {
protected:
    static JHashEntry* put(JHashtable& table, int key, int value) {
        Key k(key);
        Counted v(value);
        return table.put(k, v);
    }
    static JObject* get(JHashtable& table, int key) {
        Key k(key);
        return table.get(k);
    }
    static void remove(JHashtable& table, int key) {
        Key k(key);
        table.remove(k);
    }

    /** What is in a bucket, in chain order. */
    static std::vector<int> chain(const JHashtable& table, int bucket) {
        std::vector<int> keys;
        for (const JHashEntry* entry = Peer::bucket(table, bucket); entry != nullptr; entry = entry->next)
            keys.push_back(numberOf(entry->key));
        return keys;
    }

    /** What a walk yields, which is deleted. */
    static std::vector<int> walked(JEnumeration* walk) {
        const std::unique_ptr<JEnumeration> owner(walk);
        std::vector<int> numbers;
        while (walk->hasMoreElements() != 0) numbers.push_back(numberOf(walk->nextElement()));
        return numbers;
    }
};

}  // namespace

// ---- shape ----

TEST_F(JHashtableTest, AnEntryReleasesNothing) {
    Counted key(1);
    Counted value(2);
    auto* entry = new JHashEntry;
    EXPECT_EQ(entry->next, nullptr);
    EXPECT_EQ(entry->hash, 0);
    entry->key = &key;
    entry->value = &value;
    delete static_cast<JObject*>(entry);
    EXPECT_EQ(alive(), 2);
}

// ---- capacity and threshold ----

TEST_F(JHashtableTest, Has533BucketsAndThreshold2132ByDefault) {
    EXPECT_EQ(JHashtable::DEFAULT_CAPACITY, 533);
    EXPECT_EQ(JHashtable::DEFAULT_LOAD_FACTOR, 4.0F);
    JHashtable tables[] = {JHashtable(), JHashtable(0), JHashtable(-5), JHashtable(INT_MIN), JHashtable(533)};
    for (const JHashtable& table : tables) {
        EXPECT_EQ(table.capacity(), 533);
        EXPECT_EQ(Peer::threshold(table), 2132);
        EXPECT_EQ(Peer::loadFactor(table), 4.0F);
        EXPECT_EQ(table.size(), 0);
        EXPECT_EQ(table.isEmpty(), 1);
        EXPECT_EQ(Peer::keyList(table), nullptr);
        for (int i = 0; i < 533; i++) EXPECT_EQ(Peer::bucket(table, i), nullptr);
    }
}

TEST_F(JHashtableTest, TheLoadFactorCountsForTheDefaultCapacityToo) {
    const JHashtable table(0, 0.5F);
    EXPECT_EQ(table.capacity(), 533);
    EXPECT_EQ(Peer::threshold(table), 266);
}

TEST_F(JHashtableTest, ThresholdsAreTruncatedInSinglePrecision) {
    const struct {
        int capacity;
        float factor;
        int threshold;
    } cases[] = {
        {10, 0.75F, 7},
        {1, 0.99F, 0},
        {3, -0.5F, -1},
        {10, -1.0F, -10},
        {533, 0.0F, 0},
        {10, 0.1F, 1},     // the product lies above 1 by less than single precision tells
        {100, 0.07F, 7},   // likewise
        {100, 0.29F, 29},  // 28.99999976 is 29 in single precision
        {10, 0.7F, 7},     // 6.99999988 is 7
        {16777217, 1.0F, 16777216},
        {16777217, 1.5F, 25165824},  // the capacity is rounded before it is multiplied
        {1000000007, 1.0F, 1000000000},
        {100000001, 0.1F, 10000000},
    };
    for (const auto& c : cases) EXPECT_EQ(thresholdOf(c.capacity, c.factor), c.threshold) << c.factor;
}

TEST_F(JHashtableTest, ThresholdsOutOfRangeAreTheLargestNumber) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(thresholdOf(533, infinity), INT_MAX);
    EXPECT_EQ(thresholdOf(533, -infinity), INT_MAX);
    EXPECT_EQ(thresholdOf(533, std::nanf("")), INT_MAX);
    EXPECT_EQ(thresholdOf(533, FLT_MAX), INT_MAX);
    EXPECT_EQ(thresholdOf(1 << 30, 2.0F), INT_MAX);
    EXPECT_EQ(thresholdOf(1 << 30, -4.0F), INT_MAX);
    EXPECT_EQ(thresholdOf(INT_MAX, 1.0F), INT_MAX);
    // Just inside:
    EXPECT_EQ(thresholdOf(1, 2147483520.0F), 2147483520);
    EXPECT_EQ(thresholdOf(1 << 30, -2.0F), INT_MIN);
}

TEST_F(JHashtableTest, TheConstructedThresholdIsThatOfTheFormula) {
    std::mt19937 random(3);
    for (int i = 0; i < 200; i++) {
        const int capacity = static_cast<int>(random() % 2000) + 1;
        const float factor = static_cast<float>(random() % 10000) / 1000.0F;
        const JHashtable table(capacity, factor);
        // The exact product of two floats fits in a double; one rounding gives the single precision one.
        const double exact = static_cast<double>(factor) * capacity;
        volatile float rounded = static_cast<float>(exact);
        EXPECT_EQ(Peer::threshold(table), static_cast<int>(rounded)) << capacity << " * " << factor;
    }
}

// ---- put ----

TEST_F(JHashtableTest, PutStoresClonesKeyFirst) {
    JHashtable table;
    Key key(7, 1000);
    Counted value(8);
    JHashEntry* const entry = table.put(key, value);
    EXPECT_EQ(happened(), (Log{"clone key 7", "clone 8"}));
    EXPECT_EQ(entry->hash, 1000);
    EXPECT_NE(entry->key, &key);
    EXPECT_NE(entry->value, &value);
    EXPECT_EQ(numberOf(entry->key), 7);
    EXPECT_EQ(numberOf(entry->value), 8);
    EXPECT_EQ(entry->next, nullptr);
    EXPECT_EQ(Peer::bucket(table, 1000 % 533), entry);
    EXPECT_EQ(table.size(), 1);
    EXPECT_EQ(table.isEmpty(), 0);
}

TEST_F(JHashtableTest, PuttingAKnownKeyKeepsTheFirstKeyAndReplacesTheValue) {
    JHashtable table;
    JHashEntry* const entry = put(table, 1, 10);
    const JObject* const storedKey = entry->key;
    happened();
    Key key(1);
    Counted value(11);
    EXPECT_EQ(table.put(key, value), entry);
    EXPECT_EQ(happened(), (Log{"clone 11", "delete 10"}));
    EXPECT_EQ(entry->key, storedKey);
    EXPECT_EQ(numberOf(entry->value), 11);
    EXPECT_EQ(table.size(), 1);
}

TEST_F(JHashtableTest, ReplacingAValueNeverGrowsTheTable) {
    JHashtable table(1, 2.0F);
    put(table, 1, 1);
    put(table, 2, 2);
    put(table, 1, 3);
    EXPECT_EQ(table.capacity(), 1);
    put(table, 3, 3);
    EXPECT_EQ(table.capacity(), 3);
}

TEST_F(JHashtableTest, TheTablesOwnKeysAndValuesMayBePut) {
    JHashtable table;
    JHashEntry* const entry = put(table, 1, 10);
    table.put(*entry->key, *entry->value);
    EXPECT_EQ(numberOf(entry->value), 10);
    Key other(2);
    EXPECT_EQ(numberOf(table.put(other, *entry->value)->value), 10);
}

TEST_F(JHashtableTest, KeysOfOneHashShareABucketTheLaterFirst) {
    JHashtable table;
    for (int n = 1; n <= 3; n++) {
        Key key(n, 42);
        Counted value(n * 10);
        table.put(key, value);
    }
    EXPECT_EQ(chain(table, 42), (std::vector<int>{3, 2, 1}));
    Key middle(2, 42);
    EXPECT_EQ(numberOf(table.get(middle)), 20);
}

TEST_F(JHashtableTest, OnlyKeysWithTheWholeHashAreAsked) {
    JHashtable table(10);
    Key a(1, 5);
    Key b(1, 15);  // the same number and bucket, another hash
    table.put(a, a);
    Key::asked() = 0;
    EXPECT_EQ(table.getEntry(b), nullptr);
    EXPECT_EQ(Key::asked(), 0);
    table.put(b, b);
    EXPECT_EQ(table.size(), 2);
    EXPECT_EQ(Key::asked(), 0);
}

TEST_F(JHashtableTest, TheSignBitOfAHashCountsForTheMatchButNotForTheBucket) {
    JHashtable table(10);
    Key negative(1, -1);
    JHashEntry* const entry = table.put(negative, negative);
    EXPECT_EQ(Peer::bucket(table, 0x7FFFFFFF % 10), entry);
    EXPECT_EQ(entry->hash, -1);
    Key positive(1, 0x7FFFFFFF);
    EXPECT_EQ(table.get(positive), nullptr);
    Key lowest(2, INT_MIN);
    const JHashEntry* const made = table.put(lowest, lowest);
    EXPECT_EQ(made, Peer::bucket(table, 0));
    EXPECT_EQ(numberOf(table.get(lowest)), 2);
}

namespace {

/** Notes which key was asked for which, and answers as it is told. */
class Asked : public JObject {
public:
    using JObject::equals;
    bool equals(const JObject* other) override {
        questions.emplace_back(this, other);
        return answer;
    }
    JObject* clone() override { return new Asked; }

    static inline std::vector<std::pair<const JObject*, const JObject*>> questions;
    static inline bool answer = false;
};

}  // namespace

TEST_F(JHashtableTest, TheStoredKeysAreAskedForTheOneLookedForUntilTheFirstMatch) {
    JHashtable table;
    Asked key;
    Asked::answer = false;
    for (int i = 0; i < 3; i++) table.put(key, key);
    ASSERT_EQ(table.size(), 3);
    const JHashEntry* const newest = Peer::bucket(table, 0);
    const JHashEntry* const oldest = newest->next->next;

    Asked::questions.clear();
    EXPECT_EQ(table.getEntry(key), nullptr);
    ASSERT_EQ(Asked::questions.size(), 3u);
    EXPECT_EQ(Asked::questions.front(),
              std::pair(static_cast<const JObject*>(newest->key), static_cast<const JObject*>(&key)));
    EXPECT_EQ(Asked::questions.back(),
              std::pair(static_cast<const JObject*>(oldest->key), static_cast<const JObject*>(&key)));

    Asked::questions.clear();
    Asked::answer = true;
    EXPECT_EQ(table.getEntry(key), newest);
    EXPECT_EQ(Asked::questions.size(), 1u);
    table.remove(key);
    table.remove(key);
    EXPECT_EQ(table.getEntry(key), oldest);
}

TEST_F(JHashtableTest, AValueThatDoesNotCloneIsStoredAsNull) {
    JHashtable table;
    Key key(1);
    UnclonableValue value(2);
    JHashEntry* const entry = table.put(key, value);
    EXPECT_EQ(entry->value, nullptr);
    EXPECT_EQ(table.get(key), nullptr);
    EXPECT_EQ(table.getEntry(key), entry);
    Counted other(3);
    table.put(key, other);
    EXPECT_EQ(numberOf(table.get(key)), 3);
    table.put(key, value);
    EXPECT_EQ(table.get(key), nullptr);
    table.remove(key);
    EXPECT_EQ(table.isEmpty(), 1);
}

TEST_F(JHashtableTest, AKeyThatDoesNotCloneIsNeverFound) {
    JHashtable table(1, 100.0F);
    UnclonableKey key(1);
    Counted value(2);
    EXPECT_EQ(table.put(key, value)->key, nullptr);
    EXPECT_EQ(table.get(key), nullptr);
    table.put(key, value);
    EXPECT_EQ(table.size(), 2);
    table.remove(key);
    EXPECT_EQ(table.size(), 2);
    Key sound(1);
    table.put(sound, value);
    EXPECT_EQ(numberOf(table.get(sound)), 2);
    const std::unique_ptr<JObject*[]> list(table.keyList());  // clear() will forget it
    EXPECT_EQ(list[2], nullptr);
    table.reallocation();
    table.clear();
    EXPECT_EQ(table.size(), 0);
}

// ---- failure ----

TEST_F(JHashtableTest, AKeyCloneThatFailsLeavesTheTable) {
    JHashtable table;
    FailingKey key(1);
    Counted value(2);
    EXPECT_THROW(table.put(key, value), std::bad_alloc);
    EXPECT_EQ(alive(), 2);
    EXPECT_EQ(table.size(), 0);
    EXPECT_EQ(table.getEntry(key), nullptr);
}

TEST_F(JHashtableTest, AValueCloneThatFailsReleasesTheKeyClone) {
    JHashtable table;
    Key key(1);
    Failing value(2);
    EXPECT_THROW(table.put(key, value), std::bad_alloc);
    EXPECT_EQ(alive(), 2);
    EXPECT_EQ(table.size(), 0);
    EXPECT_EQ(Peer::bucket(table, 1), nullptr);
}

TEST_F(JHashtableTest, AReplacementThatFailsKeepsTheOldValue) {
    JHashtable table;
    put(table, 1, 10);
    Key key(1);
    Failing value(2);
    EXPECT_THROW(table.put(key, value), std::bad_alloc);
    EXPECT_EQ(numberOf(table.get(key)), 10);
}

// ---- keys of texts ----

TEST_F(JHashtableTest, DifferentStringsOfOneHashAreOneKey) {
    JHashtable table;
    JString ab("ab");
    JString ac("ac");
    JString b("b");
    JInteger one(1);
    ASSERT_EQ(ab.hashCode(), ac.hashCode());
    JHashEntry* const entry = table.put(ab, b);
    EXPECT_EQ(table.put(ac, ab), entry);
    EXPECT_EQ(table.size(), 1);
    EXPECT_STREQ(static_cast<JString&>(*entry->key), "ab");
    EXPECT_STREQ(static_cast<JString&>(*table.get(ab)), "ab");
    EXPECT_EQ(table.get(b), nullptr);
    table.remove(ac);
    EXPECT_EQ(table.isEmpty(), 1);
}

TEST_F(JHashtableTest, KeysOfTheHeadersExampleAreToldApart) {
    JHashtable table;
    Name ab("ab");
    Name ac("ac");
    JString first("first");
    JString second("second");
    table.put(ab, first);
    table.put(ac, second);
    EXPECT_EQ(table.size(), 2);
    EXPECT_STREQ(static_cast<JString&>(*table.get(ab)), "first");
    EXPECT_STREQ(static_cast<JString&>(*table.get(ac)), "second");
    Name again("ab");
    EXPECT_STREQ(static_cast<JString&>(*table.get(again)), "first");
    Name ad("ad");
    EXPECT_EQ(table.get(ad), nullptr);
    EXPECT_NE(dynamic_cast<Name*>(table.getEntry(ab)->key), nullptr);
}

TEST_F(JHashtableTest, AKeyOfTheHeadersExampleIsNotAnObjectOfAnotherClass) {
    JHashtable table;
    Name empty("");  // its hash is 0, as that of every number
    JInteger zero(0);
    table.put(empty, empty);
    EXPECT_EQ(table.get(zero), nullptr);
    table.put(zero, zero);
    EXPECT_EQ(table.size(), 2);
}

TEST_F(JHashtableTest, NumbersDoNotServeAsKeys) {
    JHashtable table;
    JInteger one(1);
    JInteger two(2);
    JString text("x");
    EXPECT_EQ(table.put(one, text)->key, nullptr);  // nor clone
    EXPECT_EQ(table.get(two), nullptr);
}

// ---- look-up and removal ----

TEST_F(JHashtableTest, GetGivesTheStoredObjectItself) {
    JHashtable table;
    JHashEntry* const entry = put(table, 1, 10);
    Key key(1);
    EXPECT_EQ(table.get(key), entry->value);
    EXPECT_EQ(table.getEntry(key), entry);
    JObject* const pointer = &key;
    EXPECT_EQ(table.get(pointer), entry->value);
    EXPECT_EQ(table.getEntry(pointer), entry);
}

TEST_F(JHashtableTest, AnAbsentKeyGivesNull) {
    JHashtable table;
    Key key(1);
    JObject* const pointer = &key;
    EXPECT_EQ(table.get(key), nullptr);
    EXPECT_EQ(table.getEntry(key), nullptr);
    EXPECT_EQ(table.get(pointer), nullptr);
    EXPECT_EQ(table.getEntry(pointer), nullptr);
}

TEST_F(JHashtableTest, RemovingDeletesKeyThenValue) {
    JHashtable table;
    Key key(1);
    Counted value(10);
    table.put(key, value);
    happened();
    table.remove(key);
    EXPECT_EQ(happened(), (Log{"delete 1", "delete 10"}));
    EXPECT_EQ(table.size(), 0);
    EXPECT_EQ(table.isEmpty(), 1);
    EXPECT_EQ(table.get(key), nullptr);
}

TEST_F(JHashtableTest, RemovingAnAbsentKeyDoesNothing) {
    JHashtable table;
    remove(table, 1);
    put(table, 1, 10);
    remove(table, 2);
    EXPECT_EQ(table.size(), 1);
    EXPECT_EQ(numberOf(get(table, 1)), 10);
}

TEST_F(JHashtableTest, RemovesAtEveryPlaceOfAChain) {
    for (int gone = 1; gone <= 3; gone++) {
        JHashtable table(1, 100.0F);
        for (int n = 1; n <= 3; n++) put(table, n, n);
        Key key(gone);
        JObject* const pointer = &key;
        table.remove(pointer);
        std::vector<int> rest{3, 2, 1};
        rest.erase(rest.begin() + (3 - gone));
        EXPECT_EQ(chain(table, 0), rest);
        EXPECT_EQ(table.size(), 2);
    }
}

TEST_F(JHashtableTest, AnEntrysOwnKeyRemovesIt) {
    JHashtable table;
    JHashEntry* const entry = put(table, 1, 10);
    table.remove(entry->key);
    EXPECT_EQ(table.isEmpty(), 1);
}

// ---- growth ----

TEST_F(JHashtableTest, TheFirstKeyBeyondTheThresholdGrowsTheTable) {
    JHashtable table(10, 0.75F);
    EXPECT_EQ(Peer::threshold(table), 7);
    for (int n = 0; n < 7; n++) put(table, n, n);
    EXPECT_EQ(table.capacity(), 10);
    put(table, 7, 7);
    EXPECT_EQ(table.capacity(), 21);
    EXPECT_EQ(Peer::threshold(table), 15);
    EXPECT_EQ(table.size(), 8);
    EXPECT_EQ(chain(table, 7), (std::vector<int>{7}));
}

TEST_F(JHashtableTest, ANewKeyIsLinkedInItsBucketOfTheGrownTable) {
    JHashtable table(2, 0.5F);
    put(table, 1, 1);
    JHashEntry* const entry = put(table, 4, 4);
    EXPECT_EQ(table.capacity(), 5);
    EXPECT_EQ(Peer::bucket(table, 4), entry);
}

TEST_F(JHashtableTest, TheDefaultTableGrowsAt2132Entries) {
    JHashtable table;
    for (int n = 0; n < 2132; n++) put(table, n, n);
    EXPECT_EQ(table.capacity(), 533);
    put(table, 2132, 1);
    EXPECT_EQ(table.capacity(), 1067);
    EXPECT_EQ(Peer::threshold(table), 4268);
    EXPECT_EQ(table.size(), 2133);
}

TEST_F(JHashtableTest, GrowingTurnsChainsAround) {
    JHashtable table(1, 100.0F);
    for (int n : {0, 3, 6, 1, 4}) put(table, n, n);
    EXPECT_EQ(chain(table, 0), (std::vector<int>{4, 1, 6, 3, 0}));
    table.reallocation();
    EXPECT_EQ(table.capacity(), 3);
    EXPECT_EQ(Peer::threshold(table), 300);
    EXPECT_EQ(chain(table, 0), (std::vector<int>{0, 3, 6}));
    EXPECT_EQ(chain(table, 1), (std::vector<int>{1, 4}));
    EXPECT_EQ(table.size(), 5);
}

TEST_F(JHashtableTest, GrowingWalksTheOldBucketsUpwards) {
    JHashtable table(2, 100.0F);
    for (int n : {5, 10}) put(table, n, n);  // buckets 1 and 0; together in bucket 0 of 5
    table.reallocation();
    EXPECT_EQ(chain(table, 0), (std::vector<int>{5, 10}));
}

TEST_F(JHashtableTest, GrowingAsksNoKeyAndDeletesNothing) {
    JHashtable table(1, 100.0F);
    for (int n = 0; n < 50; n++) {
        Key key(n, n - 25);  // negative hashes, too
        table.put(key, key);
    }
    happened();
    Key::hashed() = 0;
    Key::asked() = 0;
    table.reallocation();
    table.reallocation();
    EXPECT_EQ(Key::hashed(), 0);
    EXPECT_EQ(Key::asked(), 0);
    EXPECT_EQ(happened(), Log{});
    EXPECT_EQ(table.capacity(), 7);
    for (int n = 0; n < 50; n++) {
        Key key(n, n - 25);
        EXPECT_EQ(numberOf(table.get(key)), n);
    }
}

TEST_F(JHashtableTest, EveryOperationAsksTheKeyForItsHashOnce) {
    JHashtable table(1, 1.0F);
    Key key(1);
    Key other(2);
    const auto hashesOf = [](auto operation) {
        Key::hashed() = 0;
        operation();
        return Key::hashed();
    };
    EXPECT_EQ(hashesOf([&] { table.put(key, key); }), 1);
    EXPECT_EQ(hashesOf([&] { table.put(key, key); }), 1);
    EXPECT_EQ(hashesOf([&] { table.put(other, key); }), 1);  // grows
    EXPECT_EQ(table.capacity(), 3);
    EXPECT_EQ(hashesOf([&] { table.get(key); }), 1);
    EXPECT_EQ(hashesOf([&] { table.getEntry(key); }), 1);
    EXPECT_EQ(hashesOf([&] { table.remove(key); }), 1);
}

TEST_F(JHashtableTest, AThresholdOfNothingGrowsWithEveryNewKey) {
    JHashtable table(1, 0.0F);
    put(table, 1, 1);
    EXPECT_EQ(table.capacity(), 3);
    put(table, 2, 2);
    EXPECT_EQ(table.capacity(), 7);
    put(table, 1, 3);
    EXPECT_EQ(table.capacity(), 7);
    JHashtable negative(1, -1.0F);
    put(negative, 1, 1);
    EXPECT_EQ(negative.capacity(), 3);
    EXPECT_EQ(Peer::threshold(negative), -3);
}

TEST_F(JHashtableTest, ATableThatCannotDoubleDoesNotGrow) {
    using jay::detail::growBuckets;
    JHashEntry* none = nullptr;
    JHashEntry** buckets = &none;
    int capacity = INT_MAX / 2 + 1;
    growBuckets(buckets, capacity);
    EXPECT_EQ(capacity, INT_MAX / 2 + 1);
    EXPECT_EQ(buckets, &none);
}

// ---- clear, initialize, destruction ----

TEST_F(JHashtableTest, ClearDeletesBucketByBucketInChainOrderKeysFirst) {
    JHashtable table(2, 100.0F);
    for (int n : {1, 2, 3, 4}) put(table, n, n * 10);
    happened();
    table.clear();
    EXPECT_EQ(happened(), (Log{"delete 4", "delete 40", "delete 2", "delete 20", "delete 3", "delete 30",
                               "delete 1", "delete 10"}));
    EXPECT_EQ(table.size(), 0);
    EXPECT_EQ(table.isEmpty(), 1);
    EXPECT_EQ(table.capacity(), 2);
    EXPECT_EQ(Peer::threshold(table), 200);
    EXPECT_EQ(Peer::bucket(table, 0), nullptr);
    EXPECT_EQ(Peer::bucket(table, 1), nullptr);
    put(table, 1, 1);
    EXPECT_EQ(table.size(), 1);
}

TEST_F(JHashtableTest, InitializeEmptiesALiveTable) {
    JHashtable table(3, 1.0F);
    for (int n = 0; n < 3; n++) put(table, n, n);
    table.initialize(10, 0.5F);
    EXPECT_EQ(alive(), 0);
    EXPECT_EQ(table.size(), 0);
    EXPECT_EQ(table.capacity(), 10);
    EXPECT_EQ(Peer::threshold(table), 5);
    EXPECT_EQ(Peer::loadFactor(table), 0.5F);
    put(table, 1, 1);
    EXPECT_EQ(numberOf(get(table, 1)), 1);
    table.initialize(-1, 4.0F);
    EXPECT_EQ(table.capacity(), 533);
    EXPECT_EQ(table.size(), 0);
}

TEST_F(JHashtableTest, IsDestroyedWithItsObjectsThroughTheRoot) {
    auto* table = new JHashtable;
    for (int n = 0; n < 10; n++) put(*table, n, n);
    EXPECT_EQ(alive(), 20);
    delete static_cast<JObject*>(table);
    EXPECT_EQ(alive(), 0);
}

// ---- key list ----

TEST_F(JHashtableTest, TheKeyListOfAnEmptyTableIsAnArrayOfNothing) {
    JHashtable table;
    JObject** const list = table.keyList();
    EXPECT_NE(list, nullptr);
    EXPECT_EQ(Peer::keyList(table), list);
}

TEST_F(JHashtableTest, TheKeyListHoldsTheStoredKeysInTheOrderOfTheWalk) {
    JHashtable table(2, 100.0F);
    for (int n : {1, 2, 3, 4}) put(table, n, n * 10);
    JObject** const list = table.keyList();
    ASSERT_EQ(table.size(), 4);
    const std::vector<JObject*> keys(list, list + 4);
    std::vector<int> numbers;
    for (const JObject* key : keys) numbers.push_back(numberOf(key));
    EXPECT_EQ(numbers, (std::vector<int>{4, 2, 3, 1}));
    EXPECT_EQ(keys[0], Peer::bucket(table, 0)->key);
}

TEST_F(JHashtableTest, AKeyListThatALaterOneReplacesStaysItsHolders) {
    JHashtable table;
    put(table, 1, 1);
    const std::unique_ptr<JObject*[]> replaced(table.keyList());  // nobody else's from the next call on
    put(table, 2, 2);
    JObject** const last = table.keyList();
    EXPECT_NE(last, replaced.get());
    EXPECT_EQ(Peer::keyList(table), last);
    EXPECT_EQ(numberOf(replaced[0]), 1);
}

TEST_F(JHashtableTest, AKeyListThatClearForgetsStaysItsHolders) {
    std::unique_ptr<JObject*[]> forgotten;
    {
        JHashtable table;
        put(table, 1, 1);
        forgotten.reset(table.keyList());
        table.clear();
        EXPECT_EQ(Peer::keyList(table), nullptr);
        forgotten[0] = nullptr;
    }
    EXPECT_EQ(forgotten[0], nullptr);
}

TEST_F(JHashtableTest, AKeyListThatInitializeForgetsStaysItsHolders) {
    JHashtable table;
    put(table, 1, 1);
    const std::unique_ptr<JObject*[]> forgotten(table.keyList());
    table.initialize(5, 1.0F);
    EXPECT_EQ(Peer::keyList(table), nullptr);
}

// ---- enumeration ----

TEST_F(JHashtableTest, WalksKeysAndValuesBucketByBucketNewestFirst) {
    JHashtable table(3, 100.0F);
    for (int n : {2, 1, 5, 4, 0}) put(table, n, n * 10);
    EXPECT_EQ(walked(table.keys()), (std::vector<int>{0, 4, 1, 5, 2}));
    EXPECT_EQ(walked(table.elements()), (std::vector<int>{0, 40, 10, 50, 20}));
}

TEST_F(JHashtableTest, AWalkGivesTheTablesOwnObjects) {
    JHashtable table;
    const JHashEntry* const entry = put(table, 1, 10);
    const std::unique_ptr<JHashEnumerator> keys(table.keys());
    const std::unique_ptr<JHashEnumerator> values(table.elements());
    EXPECT_NE(keys->hasMoreElements(), 0);
    EXPECT_NE(values->hasMoreElements(), 0);
    EXPECT_EQ(keys->nextElement(), entry->key);
    EXPECT_EQ(keys->nextElement(), entry->key);  // only reads
    EXPECT_EQ(values->nextElement(), entry->value);
}

TEST_F(JHashtableTest, AskingTwiceSkipsAnElement) {
    JHashtable table(1, 100.0F);
    for (int n : {1, 2, 3}) put(table, n, n);
    const std::unique_ptr<JHashEnumerator> walk(table.keys());
    EXPECT_NE(walk->hasMoreElements(), 0);
    EXPECT_NE(walk->hasMoreElements(), 0);
    EXPECT_EQ(numberOf(walk->nextElement()), 2);
    EXPECT_NE(walk->hasMoreElements(), 0);
    EXPECT_EQ(numberOf(walk->nextElement()), 1);
    EXPECT_EQ(walk->hasMoreElements(), 0);
}

TEST_F(JHashtableTest, AWalkThatEndedStaysAtItsEnd) {
    JHashtable table;
    const std::unique_ptr<JHashEnumerator> empty(table.keys());
    for (int i = 0; i < 3; i++) EXPECT_EQ(empty->hasMoreElements(), 0);
    put(table, 532, 1);
    EXPECT_EQ(empty->hasMoreElements(), 0);
    const std::unique_ptr<JHashEnumerator> walk(table.keys());
    EXPECT_NE(walk->hasMoreElements(), 0);
    for (int i = 0; i < 3; i++) EXPECT_EQ(walk->hasMoreElements(), 0);
    EXPECT_EQ(walk->nextElement(), nullptr);
}

TEST_F(JHashtableTest, AnyNonZeroNumberAsksForKeys) {
    JHashtable table;
    put(table, 1, 10);
    JHashEnumerator walk(Peer::buckets(table), table.capacity(), 2);
    EXPECT_NE(walk.hasMoreElements(), 0);
    EXPECT_EQ(numberOf(walk.nextElement()), 1);
}

// ---- any order of operations ----

namespace {

/** The same table in plain words: chains of pairs of numbers, newest first. */
struct Model {
    struct Pair {
        int key, hash, value;
    };
    std::vector<std::vector<Pair>> buckets;
    float factor;
    int count = 0;

    Model(std::size_t capacity, float loadFactor) : buckets(capacity), factor(loadFactor) {}

    static std::size_t place(int hash, std::size_t capacity) {
        return (static_cast<unsigned>(hash) & 0x7FFFFFFFU) % capacity;
    }
    std::vector<Pair>& bucketOf(int hash) { return buckets[place(hash, buckets.size())]; }
    Pair* find(int key, int hash) {
        for (Pair& pair : bucketOf(hash)) {
            if (pair.hash == hash && pair.key == key) return &pair;
        }
        return nullptr;
    }
    void put(int key, int hash, int value) {
        if (Pair* known = find(key, hash)) {
            known->value = value;
            return;
        }
        if (count >= static_cast<int>(static_cast<float>(buckets.size()) * factor)) grow();
        bucketOf(hash).insert(bucketOf(hash).begin(), Pair{key, hash, value});
        count++;
    }
    void grow() {
        std::vector<std::vector<Pair>> larger(buckets.size() * 2 + 1);
        for (const auto& bucket : buckets) {
            for (const Pair& pair : bucket) {
                auto& target = larger[place(pair.hash, larger.size())];
                target.insert(target.begin(), pair);
            }
        }
        buckets.swap(larger);
    }
    void remove(int key, int hash) {
        auto& bucket = bucketOf(hash);
        for (auto pair = bucket.begin(); pair != bucket.end(); ++pair) {
            if (pair->hash == hash && pair->key == key) {
                bucket.erase(pair);
                count--;
                return;
            }
        }
    }
    void clear() {
        for (auto& bucket : buckets) bucket.clear();
        count = 0;
    }
};

void expectSame(const JHashtable& table, const Model& model) {
    ASSERT_EQ(table.size(), model.count);
    ASSERT_EQ(table.isEmpty(), model.count == 0 ? 1 : 0);
    ASSERT_EQ(table.capacity(), static_cast<int>(model.buckets.size()));
    for (std::size_t i = 0; i < model.buckets.size(); i++) {
        const JHashEntry* entry = Peer::bucket(table, static_cast<int>(i));
        for (const Model::Pair& pair : model.buckets[i]) {
            ASSERT_NE(entry, nullptr) << i;
            ASSERT_EQ(numberOf(entry->key), pair.key);
            ASSERT_EQ(entry->hash, pair.hash);
            ASSERT_EQ(numberOf(entry->value), pair.value);
            entry = entry->next;
        }
        ASSERT_EQ(entry, nullptr) << i;
    }
}

/** A few keys, many of them with equal hashes, some negative. */
int hashOf(int key) {
    return (key % 40 - 20) * (key % 3 == 0 ? 1 : 100000007);
}

}  // namespace

TEST_F(JHashtableTest, BehavesAsItsModelInAnyOrderOfOperations) {
    for (const auto& [capacity, factor] : {std::pair(1, 1.0F), std::pair(7, 0.75F), std::pair(3, 4.0F)}) {
        std::mt19937 random(static_cast<unsigned>(capacity));
        JHashtable table(capacity, factor);
        Model model(static_cast<std::size_t>(capacity), factor);
        for (int step = 0; step < 6000; step++) {
            const int n = static_cast<int>(random() % 120);
            Key key(n, hashOf(n));
            switch (random() % 8) {
                case 0:
                case 1:
                case 2: {
                    Counted value(step);
                    table.put(key, value);
                    model.put(n, key.hash, step);
                    break;
                }
                case 3:
                case 4:
                    table.remove(key);
                    model.remove(n, key.hash);
                    break;
                case 5:
                    if (step % 1000 == 0) table.clear(), model.clear();
                    break;
                default: {
                    const JObject* const value = table.get(key);
                    const Model::Pair* const pair = model.find(n, key.hash);
                    ASSERT_EQ(value != nullptr, pair != nullptr);
                    if (value != nullptr) {
                        ASSERT_EQ(numberOf(value), pair->value);
                    }
                }
            }
            if (step % 5 == 0) {
                ASSERT_NO_FATAL_FAILURE(expectSame(table, model)) << step;
            }
            ASSERT_EQ(alive(), 2 * model.count + 1);
            Counted::log().clear();
        }
        ASSERT_NO_FATAL_FAILURE(expectSame(table, model));
    }
}
