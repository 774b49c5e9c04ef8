#include "core/JObjectArray.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "core/JString.h"
#include "support/Counted.h"
#include "support/JObjectArrayPeer.h"

using support::Counted;
using support::CountedTest;
using support::numberOf;
using Peer = jay::detail::JObjectArrayPeer;

namespace {

/** Makes elements numbered 0, 1, 2, ... in the order of their making. */
class Numbered : public JObjectArray {
public:
    using JObjectArray::JObjectArray;
    using JObjectArray::operator=;
    JObject* create() override { return new Counted(made++); }

    int made = 0;
};

/** An array whose factory fails. */
class Barren : public JObjectArray {
public:
    JObject* create() override { throw std::bad_alloc(); }
};

/** An element that cannot be cloned: it fails, as an allocation would. */
class Unique : public Counted {
public:
    using Counted::Counted;
    JObject* clone() override { throw std::bad_alloc(); }
};

/** Makes the elements 0 to n - 1. */
void fill(JObjectArray& array, int n) {
    for (int i = 0; i < n; i++) array[i];
}

class JObjectArrayLifeTest : public CountedTest {};

}  // namespace

// ---- shape ----

TEST(JObjectArrayTest, IsEmptyAtFirstAndCountsNowhere) {
    JObjectArray array;
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(Peer::capacity(array), 0);
    EXPECT_EQ(Peer::counter(array), nullptr);
    EXPECT_EQ(Peer::elements(array), nullptr);
}

TEST(JObjectArrayTest, LeavesItsCounterAsItIsAtFirst) {
    JSize counter;
    counter = 3;
    JObjectArray array(&counter);
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(Peer::counter(array), &counter);
    EXPECT_EQ(counter.size(), 3);
}

TEST(JObjectArrayTest, MakesPlainObjects) {
    JObjectArray array;
    EXPECT_EQ(array[0].getClass(), &JObject::classJObject);
    const std::unique_ptr<JObject> made(array.create());
    EXPECT_EQ(made->getClass(), &JObject::classJObject);
}

// ---- access ----

TEST_F(JObjectArrayLifeTest, ReadingAnElementMakesItAndNoOther) {
    Numbered array;
    const JObject& element = array[5];
    EXPECT_EQ(array.length(), 6);
    EXPECT_EQ(array.made, 1);
    for (int i = 0; i < 5; i++) EXPECT_EQ(Peer::element(array, i), nullptr) << i;
    EXPECT_EQ(Peer::element(array, 5), &element);
}

TEST_F(JObjectArrayLifeTest, ReadingAnElementAgainGivesTheSameOne) {
    Numbered array;
    const JObject& element = array[2];
    EXPECT_EQ(&array[2], &element);
    EXPECT_EQ(array.made, 1);
}

TEST_F(JObjectArrayLifeTest, AMissingElementBelowTheLengthIsMadeWhenItIsRead) {
    Numbered array;
    array[3];
    EXPECT_EQ(numberOf(&array[1]), 1);
    EXPECT_EQ(array.length(), 4);
    EXPECT_EQ(Peer::element(array, 0), nullptr);
    EXPECT_EQ(Peer::element(array, 2), nullptr);
}

TEST(JObjectArrayTest, ANegativeIndexIsTheFirstElement) {
    JObjectArray array;
    const JObject& first = array[-3];
    EXPECT_EQ(array.length(), 1);
    EXPECT_EQ(&array[0], &first);
    EXPECT_EQ(&array[INT_MIN], &first);
}

TEST(JObjectArrayTest, GrowsWithinItsCapacityInPlace) {
    JObjectArray array;
    array[0];
    JObject** const slots = Peer::elements(array);
    array[7];
    EXPECT_EQ(array.length(), 8);
    EXPECT_EQ(Peer::capacity(array), 8);
    EXPECT_EQ(Peer::elements(array), slots);
}

TEST(JObjectArrayTest, GrowsInStepsOfEightSlots) {
    const struct {
        int index, capacity;
    } cases[] = {{0, 8}, {6, 8}, {7, 8}, {8, 16}, {15, 16}, {16, 24}, {99, 104}, {1000, 1008}};
    for (const auto& c : cases) {
        JObjectArray array;
        array[c.index];
        EXPECT_EQ(array.length(), c.index + 1);
        EXPECT_EQ(Peer::capacity(array), c.capacity) << c.index;
        for (int i = 0; i < c.capacity; i++) EXPECT_EQ(Peer::element(array, i) != nullptr, i == c.index) << i;
    }
}

TEST(JObjectArrayTest, KeepsItsElementsWhenItGrows) {
    JObjectArray array;
    fill(array, 8);
    const std::vector<JObject*> before(Peer::elements(array), Peer::elements(array) + 8);
    array[100];
    EXPECT_EQ(std::vector<JObject*>(Peer::elements(array), Peer::elements(array) + 8), before);
}

TEST(JObjectArrayTest, AnIndexThatNoLengthCanReachFailsAsItsAllocationWould) {
    JObjectArray array;
    array[1];
    EXPECT_THROW(array[INT_MAX], std::bad_alloc);
    EXPECT_THROW(array.resize(INT_MAX), std::bad_alloc);
    EXPECT_THROW(array.resize(INT_MAX - 6), std::bad_alloc);
    EXPECT_EQ(array.length(), 2);
    EXPECT_EQ(Peer::capacity(array), 8);
}

TEST(JObjectArrayTest, AFactoryThatFailsLeavesAnEmptySlot) {
    Barren array;
    EXPECT_THROW(array[2], std::bad_alloc);
    EXPECT_EQ(array.length(), 3);
    EXPECT_EQ(Peer::element(array, 2), nullptr);
}

// ---- counter ----

TEST(JObjectArrayTest, RaisesItsCounterWhenItGrows) {
    JSize counter;
    JObjectArray array(&counter);
    array[2];
    EXPECT_EQ(counter.size(), 3);
    array[4];  // within the capacity
    EXPECT_EQ(counter.size(), 5);
    array[8];
    EXPECT_EQ(counter.size(), 9);
    array.resize(20);
    EXPECT_EQ(counter.size(), 20);
}

TEST(JObjectArrayTest, NeverLowersItsCounter) {
    JSize counter;
    counter = 10;
    JObjectArray array(&counter);
    array[4];
    EXPECT_EQ(counter.size(), 10);
    array.resize(2);
    EXPECT_EQ(counter.size(), 10);
    array.clear();
    EXPECT_EQ(counter.size(), 10);
    array = JObjectArray();
    EXPECT_EQ(counter.size(), 10);
}

TEST(JObjectArrayTest, ReadingAnyElementRaisesACounterThatIsBehind) {
    JSize counter;
    JObjectArray array(&counter);
    fill(array, 3);
    counter = 1;
    array[0];
    EXPECT_EQ(counter.size(), 3);
}

TEST(JObjectArrayTest, ShrinkingRaisesACounterThatIsBehind) {
    JSize counter;
    JObjectArray array(&counter);
    fill(array, 5);
    counter = 1;
    array.resize(3);
    EXPECT_EQ(counter.size(), 3);
}

TEST(JObjectArrayTest, ResizingToTheLengthItHasTouchesNotEvenTheCounter) {
    JSize counter;
    JObjectArray array(&counter);
    array.resize(8);
    JObject** const slots = Peer::elements(array);
    counter = 1;
    array.resize(8);
    EXPECT_EQ(counter.size(), 1);
    EXPECT_EQ(Peer::elements(array), slots);
}

TEST(JObjectArrayTest, ArraysThatShareACounterRecordTheLargestLength) {
    JSize counter;
    JObjectArray a(&counter);
    JObjectArray b(&counter);
    a[4];
    b[2];
    EXPECT_EQ(counter.size(), 5);
    b[6];
    EXPECT_EQ(counter.size(), 7);
}

// ---- resize ----

TEST(JObjectArrayTest, ResizingRoundsTheCapacityUp) {
    JObjectArray array;
    array.resize(8);
    EXPECT_EQ(Peer::capacity(array), 8);
    array.resize(9);
    EXPECT_EQ(Peer::capacity(array), 16);
    EXPECT_EQ(array.length(), 9);
    array.resize(17);
    EXPECT_EQ(Peer::capacity(array), 24);
}

TEST(JObjectArrayTest, ResizingAddsEmptySlots) {
    JObjectArray array;
    array.resize(20);
    EXPECT_EQ(array.length(), 20);
    for (int i = 0; i < Peer::capacity(array); i++) EXPECT_EQ(Peer::element(array, i), nullptr) << i;
}

TEST(JObjectArrayTest, ResizingToTheCapacityKeepsIt) {
    JObjectArray array;
    array.resize(9);
    const JObject& element = array[8];
    array.resize(16);
    EXPECT_EQ(Peer::capacity(array), 16);
    EXPECT_EQ(Peer::element(array, 8), &element);
    for (int i = 9; i < 16; i++) EXPECT_EQ(Peer::element(array, i), nullptr);
}

TEST(JObjectArrayTest, GrowthByOneMovesTheSlotsSeldom) {
    JObjectArray array;
    JObject** slots = nullptr;
    int moves = 0;
    for (int i = 0; i < 1000; i++) {
        array[i];
        EXPECT_EQ(Peer::capacity(array), i / 8 * 8 + 8);
        if (Peer::elements(array) != slots) moves++;
        slots = Peer::elements(array);
    }
    EXPECT_LE(moves, 20);
}

TEST(JObjectArrayTest, ResizingBelowTheCapacityStaysInPlace) {
    JObjectArray array;
    array.resize(9);
    JObject** const slots = Peer::elements(array);
    array.resize(15);
    EXPECT_EQ(Peer::elements(array), slots);
    EXPECT_EQ(array.length(), 15);
}

TEST_F(JObjectArrayLifeTest, ShrinkingDeletesTheElementsBehindAndKeepsTheSlots) {
    Numbered array;
    fill(array, 20);
    JObject** const slots = Peer::elements(array);
    array.resize(17);
    EXPECT_EQ(happened(), (Log{"delete 17", "delete 18", "delete 19"}));
    EXPECT_EQ(array.length(), 17);
    EXPECT_EQ(Peer::capacity(array), 24);
    EXPECT_EQ(Peer::elements(array), slots);
    for (int i = 0; i < Peer::capacity(array); i++)
        EXPECT_EQ(Peer::element(array, i) != nullptr, i < 17) << i;
}

TEST_F(JObjectArrayLifeTest, ShrinkingToNothingKeepsTheSlots) {
    Numbered array;
    fill(array, 2);
    array.resize(0);
    EXPECT_EQ(alive(), 0);
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(Peer::capacity(array), 8);
    EXPECT_NE(Peer::elements(array), nullptr);
}

TEST_F(JObjectArrayLifeTest, ANegativeLengthCountsAsNone) {
    Numbered array;
    array.resize(-1);
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(Peer::capacity(array), 0);
    fill(array, 3);
    array.resize(INT_MIN);
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(alive(), 0);
    array[0];
    EXPECT_EQ(array.length(), 1);
}

TEST_F(JObjectArrayLifeTest, AnElementThatWasCutOffIsMadeAnew) {
    Numbered array;
    fill(array, 3);
    array.resize(1);
    EXPECT_EQ(numberOf(&array[2]), 3);
    EXPECT_EQ(Peer::element(array, 1), nullptr);
}

// ---- clear and destruction ----

TEST_F(JObjectArrayLifeTest, ClearingDeletesElementsAndSlots) {
    Numbered array;
    array[0];
    array[2];
    array.clear();
    EXPECT_EQ(happened(), (Log{"delete 0", "delete 1"}));
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(Peer::capacity(array), 0);
    EXPECT_EQ(Peer::elements(array), nullptr);
    array.clear();
    array[0];
    EXPECT_EQ(array.length(), 1);
}

TEST_F(JObjectArrayLifeTest, IsDestroyedWithItsElementsThroughTheRoot) {
    auto* array = new Numbered;
    fill(*array, 10);
    EXPECT_EQ(alive(), 10);
    delete static_cast<JObject*>(array);
    EXPECT_EQ(alive(), 0);
}

// ---- copies ----

TEST_F(JObjectArrayLifeTest, AssigningReplacesTheContentByClones) {
    Numbered source;
    source[0];
    source[2];
    Numbered target;
    target.made = 10;
    fill(target, 2);
    JObjectArray& result = target = static_cast<const JObjectArray&>(source);
    EXPECT_EQ(&result, &target);
    EXPECT_EQ(happened(), (Log{"delete 10", "delete 11", "clone 0", "clone 1"}));
    EXPECT_EQ(target.length(), 3);
    EXPECT_EQ(numberOf(Peer::element(target, 0)), 0);
    EXPECT_EQ(Peer::element(target, 1), nullptr);
    EXPECT_EQ(numberOf(Peer::element(target, 2)), 1);
    EXPECT_NE(Peer::element(target, 0), Peer::element(source, 0));
}

TEST_F(JObjectArrayLifeTest, AnAssignedArrayHasExactlyTheOthersLengthAsCapacity) {
    Numbered source;
    fill(source, 3);
    JObjectArray target;
    target = source;
    EXPECT_EQ(Peer::capacity(target), 3);
    target[3];  // and grows from there
    EXPECT_EQ(Peer::capacity(target), 8);
    EXPECT_EQ(numberOf(Peer::element(target, 2)), 2);
}

TEST(JObjectArrayTest, AssigningRaisesTheOwnCounterAndKeepsIt) {
    JSize counter;
    JSize others;
    JObjectArray source(&others);
    source.resize(3);
    JObjectArray target(&counter);
    target = source;
    EXPECT_EQ(Peer::counter(target), &counter);
    EXPECT_EQ(counter.size(), 3);
    target[5];
    EXPECT_EQ(others.size(), 3);
}

TEST_F(JObjectArrayLifeTest, AssignedToItselfItIsEmptied) {
    Numbered array;
    fill(array, 3);
    JObjectArray& same = array;
    array = same;
    EXPECT_EQ(array.length(), 0);
    EXPECT_EQ(Peer::capacity(array), 0);
    EXPECT_EQ(alive(), 0);
    array[0];
    EXPECT_EQ(array.length(), 1);
}

TEST(JObjectArrayTest, ElementsThatDoNotCloneComeOutAsEmptySlots) {
    JObjectArray source;
    fill(source, 2);
    JObjectArray target;
    target = source;
    EXPECT_EQ(target.length(), 2);
    EXPECT_EQ(Peer::element(target, 0), nullptr);
    EXPECT_EQ(Peer::element(target, 1), nullptr);
}

TEST_F(JObjectArrayLifeTest, ACopyHasNoCounter) {
    JSize counter;
    Numbered source(&counter);
    fill(source, 2);
    JObjectArray copy(source);
    EXPECT_EQ(Peer::counter(copy), nullptr);
    EXPECT_EQ(copy.length(), 2);
    EXPECT_EQ(Peer::capacity(copy), 2);
    EXPECT_EQ(numberOf(Peer::element(copy, 1)), 1);
    EXPECT_EQ(alive(), 4);
}

TEST_F(JObjectArrayLifeTest, ACloneIsAPlainArrayOfClones) {
    Numbered source;
    fill(source, 2);
    const std::unique_ptr<JObject> clone(source.clone());
    ASSERT_EQ(clone->getClass(), &JObjectArray::classJObjectArray);
    auto& array = static_cast<JObjectArray&>(*clone);
    EXPECT_EQ(dynamic_cast<Numbered*>(&array), nullptr);
    EXPECT_EQ(numberOf(&array[1]), 1);
    EXPECT_EQ(array[2].getClass(), &JObject::classJObject);
}

TEST_F(JObjectArrayLifeTest, ACloneThatFailsHalfwayReleasesWhatWasCloned) {
    JObjectArray source;
    source.resize(2);
    Peer::element(source, 0) = new Counted(0);
    Peer::element(source, 1) = new Unique(1);
    EXPECT_THROW(JObjectArray{source}, std::bad_alloc);
    EXPECT_THROW(source.clone(), std::bad_alloc);
    EXPECT_EQ(alive(), 2);
    JObjectArray target;
    EXPECT_THROW(target = source, std::bad_alloc);
    EXPECT_EQ(alive(), 3);
    EXPECT_EQ(Peer::element(target, 1), nullptr);
}

// ---- any order of operations ----

namespace {

/** The same array, told by numbers: what each slot holds, -1 for nothing. */
struct Model {
    std::vector<int> slots;
    int capacity = 0;
    int counter = 0;
    int made = 0;

    void raise() { counter = std::max(counter, static_cast<int>(slots.size())); }
    void resize(int n) {
        if (n == static_cast<int>(slots.size())) return;
        if (n >= capacity) capacity = (n + 7) & ~7;
        slots.resize(static_cast<std::size_t>(n), -1);
        raise();
    }
    void read(int i) {
        if (i >= capacity) resize(i + 1);
        if (i >= static_cast<int>(slots.size())) slots.resize(static_cast<std::size_t>(i) + 1, -1);
        raise();
        int& slot = slots[static_cast<std::size_t>(i)];
        if (slot < 0) slot = made++;
    }
    void clear() {
        slots.clear();
        capacity = 0;
    }
    void assign(const Model& other) {
        slots = other.slots;
        capacity = static_cast<int>(slots.size());
        raise();
    }
};

void expectSame(const Numbered& array, const JSize& counter, const Model& model) {
    ASSERT_EQ(array.length(), static_cast<int>(model.slots.size()));
    ASSERT_EQ(Peer::capacity(array), model.capacity);
    ASSERT_EQ(counter.size(), model.counter);
    for (int i = 0; i < Peer::capacity(array); i++) {
        const int expected = i < array.length() ? model.slots[static_cast<std::size_t>(i)] : -1;
        ASSERT_EQ(Peer::element(array, i) == nullptr ? -1 : numberOf(Peer::element(array, i)), expected) << i;
    }
}

}  // namespace

TEST_F(JObjectArrayLifeTest, BehavesAsItsModelInAnyOrderOfOperations) {
    std::mt19937 random(20250101);
    JSize counters[2];
    Numbered arrays[] = {Numbered(&counters[0]), Numbered(&counters[1])};
    Model models[2];
    for (int step = 0; step < 20000; step++) {
        const std::size_t which = random() % 2;
        const int n = static_cast<int>(random() % 40);
        switch (random() % 16) {
            case 0:
                arrays[which].clear(), models[which].clear();
                break;
            case 1:
                static_cast<JObjectArray&>(arrays[which]) = arrays[1 - which];
                models[which].assign(models[1 - which]);
                break;
            case 2:
                counters[which] = n, models[which].counter = n;
                break;
            case 3:
            case 4:
            case 5:
                arrays[which].resize(n), models[which].resize(n);
                break;
            default:
                arrays[which][n], models[which].read(n);
        }
        ASSERT_NO_FATAL_FAILURE(expectSame(arrays[which], counters[which], models[which])) << step;
        Counted::log().clear();
    }
}
