#include "thread/JQueue.h"

#include <climits>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <type_traits>

#include "support/allocation/FailingAllocator.h"
#include "support/JQueuePeer.h"

using jay::detail::JQueuePeer;
using support::FailingAllocation;

namespace {

/** An item that keeps books: which clones live, how many were made, and that none is deleted twice. */
class Item : public JObject {
public:
    explicit Item(int n) : number(n) {}
    ~Item() override {
        if (!isClone) return;
        EXPECT_EQ(living.erase(this), 1u) << "deleted twice, or never made";
    }

    JObject* clone() override {
        if (cloneThrows) throw std::bad_alloc();
        auto copy = std::make_unique<Item>(number);
        living.insert(copy.get());
        copy->isClone = true;
        ++clonesMade;
        return copy.release();
    }

    static int clonesLiving() { return static_cast<int>(living.size()); }

    const int number;
    bool isClone = false;

    static std::set<Item*> living;
    static int clonesMade;
    static bool cloneThrows;
};

std::set<Item*> Item::living;
int Item::clonesMade = 0;
bool Item::cloneThrows = false;

class JQueueTest : public ::testing::Test {
protected:
    JQueueTest() {
        Item::clonesMade = 0;
        Item::cloneThrows = false;
    }
    ~JQueueTest() override { EXPECT_EQ(Item::clonesLiving(), 0) << "copies leaked"; }
};

int put(JQueue& queue, int number) {
    Item item(number);
    return queue.put(item);
}

int put2(JQueue& queue, int number) {
    Item item(number);
    return queue.put2(item);
}

constexpr int NOTHING = INT_MIN;

int numberOf(JObject* item) {
    return item == nullptr ? NOTHING : static_cast<Item*>(item)->number;
}

/** Takes the oldest item out and deletes it; its number, or NOTHING. */
int get(JQueue& queue) {
    const std::unique_ptr<JObject> item(queue.get());
    return numberOf(item.get());
}

int segmentsOf(const JQueue& queue) {
    int number = 0;
    for (const JQueue::JQueueEntry* entry = JQueuePeer::head(queue); entry != nullptr; entry = entry->next)
        ++number;
    return number;
}

void expectAccountsBalance(const JQueue& queue) {
    EXPECT_EQ(queue.input() - queue.output(), queue.size());
}

}  // namespace

// ---- class and construction ----

TEST_F(JQueueTest, InheritsTheRootsOperations) {
    JQueue queue(1);
    JQueue other(2);
    EXPECT_EQ(queue.hashCode(), 0);
    EXPECT_EQ(queue.clone(), nullptr);
    EXPECT_TRUE(queue.equals(other));
}

TEST_F(JQueueTest, Constants) {
    EXPECT_EQ(JQueue::OK, 0);
    EXPECT_EQ(JQueue::FULL, 1);
}

TEST_F(JQueueTest, ThreeArguments_AreCapacityResumeMarkAndSegment) {
    JQueue queue(7, 3, 5);
    EXPECT_EQ(JQueuePeer::capacity(queue), 7);
    EXPECT_EQ(JQueuePeer::resume(queue), 3);
    EXPECT_EQ(JQueuePeer::segment(queue), 5);
}

TEST_F(JQueueTest, TwoArguments_ResumeAtTheCapacity) {
    JQueue queue(7, 5);
    EXPECT_EQ(JQueuePeer::capacity(queue), 7);
    EXPECT_EQ(JQueuePeer::resume(queue), 7);
    EXPECT_EQ(JQueuePeer::segment(queue), 5);
}

TEST_F(JQueueTest, OneArgument_IsTheSegmentOfAQueueWithoutBound) {
    JQueue queue(1000);
    EXPECT_EQ(JQueuePeer::capacity(queue), 0x7FFFFFFF);
    EXPECT_EQ(JQueuePeer::resume(queue), 0x7FFFFFFF);
    EXPECT_EQ(JQueuePeer::segment(queue), 1000);
}

TEST_F(JQueueTest, IsNew_EmptyWithOneSegment) {
    JQueue queue(2, 4);
    EXPECT_NE(JQueuePeer::head(queue), nullptr);
    EXPECT_EQ(JQueuePeer::head(queue), JQueuePeer::tail(queue));
    EXPECT_EQ(segmentsOf(queue), 1);
    EXPECT_EQ(JQueuePeer::readIndex(queue), 0);
    EXPECT_EQ(JQueuePeer::writeIndex(queue), 0);
    EXPECT_EQ(queue.size(), 0);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_FALSE(queue.isFull());
    EXPECT_EQ(queue.input(), 0);
    EXPECT_EQ(queue.output(), 0);
}

TEST_F(JQueueTest, SegmentBelowOne_IsTakenForOne) {
    for (const int segment : {0, -1, INT_MIN}) {
        JQueue queue(segment);
        EXPECT_EQ(JQueuePeer::segment(queue), 1);
        EXPECT_EQ(put(queue, 1), JQueue::OK);
        EXPECT_EQ(put(queue, 2), JQueue::OK);
        EXPECT_EQ(get(queue), 1);
        EXPECT_EQ(get(queue), 2);
    }
}

TEST_F(JQueueTest, Segment_HasAVirtualDestructorAndNullSlotsButIsNoObject) {
    EXPECT_TRUE(std::has_virtual_destructor<JQueue::JQueueEntry>::value);
    EXPECT_FALSE((std::is_base_of<JObject, JQueue::JQueueEntry>::value));
    JQueue::JQueueEntry entry(3);
    EXPECT_EQ(entry.next, nullptr);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(entry.slots[i], nullptr);
}

TEST_F(JQueueTest, Segment_DoesNotDeleteTheObjectsInIt) {
    Item item(1);
    const std::unique_ptr<JObject> copy(item.clone());
    {
        JQueue::JQueueEntry entry(1);
        entry.slots[0] = copy.get();
    }
    EXPECT_EQ(Item::clonesLiving(), 1);
}

// ---- put and get ----

TEST_F(JQueueTest, Get_ReturnsItemsInTheOrderOfPut) {
    JQueue queue(3);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(put(queue, i), JQueue::OK);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(get(queue), i);
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(JQueueTest, Put_StoresAnIndependentCloneAndLeavesTheItemToTheCaller) {
    JQueue queue(3);
    Item item(5);
    queue.put(item);
    EXPECT_EQ(item.number, 5);
    EXPECT_EQ(Item::clonesMade, 1);
    const std::unique_ptr<JObject> copy(queue.get());
    EXPECT_NE(copy.get(), &item);
    EXPECT_EQ(numberOf(copy.get()), 5);
}

TEST_F(JQueueTest, Get_HandsTheCopyOver) {
    std::unique_ptr<JObject> copy;
    {
        JQueue queue(3);
        put(queue, 5);
        copy.reset(queue.get());
    }
    EXPECT_EQ(Item::clonesLiving(), 1);
    EXPECT_EQ(numberOf(copy.get()), 5);
}

TEST_F(JQueueTest, Get_ClearsTheSlot) {
    JQueue queue(3);
    put(queue, 1);
    get(queue);
    EXPECT_EQ(JQueuePeer::head(queue)->slots[0], nullptr);
    EXPECT_EQ(JQueuePeer::readIndex(queue), 1);
}

TEST_F(JQueueTest, Peek_LendsTheOldestItem) {
    JQueue queue(3);
    put(queue, 1);
    put(queue, 2);
    EXPECT_EQ(numberOf(queue.peek()), 1);
    EXPECT_EQ(numberOf(queue.peek()), 1);
    EXPECT_EQ(queue.size(), 2);
    EXPECT_EQ(queue.output(), 0);
    JObject* const peeked = queue.peek();
    const std::unique_ptr<JObject> taken(queue.get());
    EXPECT_EQ(taken.get(), peeked);
}

TEST_F(JQueueTest, PeekAhead_LendsTheItemsInTheOrderOfGet_AcrossSegments) {
    for (int taken = 0; taken < 5; taken++) {
        JQueue queue(3);
        for (int i = 0; i < 10; i++) put(queue, i);
        for (int i = 0; i < taken; i++) get(queue);
        for (int i = taken; i < 10; i++) EXPECT_EQ(numberOf(queue.peek(i - taken)), i);
        EXPECT_EQ(queue.peek(10 - taken), nullptr);
        EXPECT_EQ(queue.size(), 10 - taken);
    }
}

TEST_F(JQueueTest, PeekAhead_WhereThereIsNothing_IsNull) {
    JQueue queue(3);
    EXPECT_EQ(queue.peek(0), nullptr);
    put(queue, 1);
    EXPECT_EQ(queue.peek(-1), nullptr);
    EXPECT_EQ(queue.peek(1), nullptr);
    EXPECT_EQ(queue.peek(INT_MAX), nullptr);
    queue.clearAll();
    EXPECT_EQ(queue.peek(0), nullptr);
}

TEST_F(JQueueTest, Empty_GetAndPeekReturnNullAndChangeNothing) {
    JQueue queue(3);
    put(queue, 1);
    get(queue);
    EXPECT_EQ(queue.get(), nullptr);
    EXPECT_EQ(queue.peek(), nullptr);
    EXPECT_EQ(queue.size(), 0);
    EXPECT_EQ(JQueuePeer::readIndex(queue), 1);
    EXPECT_EQ(queue.input(), 1);
    EXPECT_EQ(queue.output(), 1);
}

TEST_F(JQueueTest, ItemWithoutClone_IsStoredAsNullAndCounts) {
    JQueue queue(2);
    JObject plain;
    EXPECT_EQ(queue.put(plain), JQueue::OK);
    put(queue, 1);
    EXPECT_EQ(queue.size(), 2);
    EXPECT_EQ(queue.peek(), nullptr);
    EXPECT_EQ(queue.get(), nullptr);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_EQ(get(queue), 1);
    expectAccountsBalance(queue);
}

TEST_F(JQueueTest, ItemWithoutClone_IsClearedToo) {
    JQueue queue(1);
    JObject plain;
    queue.put(plain);
    queue.clearAll();
    EXPECT_EQ(queue.size(), 0);
    EXPECT_EQ(queue.output(), 1);
}

// ---- segments ----

TEST_F(JQueueTest, FullSegment_IsFollowedByAFreshOneAtOnce) {
    JQueue queue(3);
    put(queue, 0);
    put(queue, 1);
    EXPECT_EQ(segmentsOf(queue), 1);
    put(queue, 2);
    EXPECT_EQ(segmentsOf(queue), 2);
    EXPECT_EQ(JQueuePeer::head(queue)->next, JQueuePeer::tail(queue));
    EXPECT_EQ(JQueuePeer::writeIndex(queue), 0);
}

TEST_F(JQueueTest, ExhaustedSegment_IsFreedAtOnce) {
    JQueue queue(2);
    for (int i = 0; i < 3; ++i) put(queue, i);
    const JQueue::JQueueEntry* const second = JQueuePeer::head(queue)->next;
    get(queue);
    EXPECT_EQ(segmentsOf(queue), 2);
    get(queue);
    EXPECT_EQ(segmentsOf(queue), 1);
    EXPECT_EQ(JQueuePeer::head(queue), second);
    EXPECT_EQ(JQueuePeer::readIndex(queue), 0);
}

TEST_F(JQueueTest, SegmentOfOne_EveryPutAllocatesAndEveryGetFrees) {
    JQueue queue(1);
    for (int i = 0; i < 3; ++i) {
        put(queue, i);
        EXPECT_EQ(segmentsOf(queue), i + 2);
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(get(queue), i);
        EXPECT_EQ(segmentsOf(queue), 3 - i);
    }
}

// ---- marks ----

TEST_F(JQueueTest, Put_RefusesAtTheCapacityWithoutACopy) {
    JQueue queue(2, 0, 10);
    EXPECT_EQ(put(queue, 0), JQueue::OK);
    EXPECT_EQ(put(queue, 1), JQueue::OK);
    EXPECT_FALSE(JQueuePeer::full(queue));
    EXPECT_EQ(put(queue, 2), JQueue::FULL);
    EXPECT_TRUE(JQueuePeer::full(queue));
    EXPECT_EQ(queue.size(), 2);
    EXPECT_EQ(queue.input(), 2);
    EXPECT_EQ(Item::clonesMade, 2);
}

TEST_F(JQueueTest, RefusedQueue_AcceptsPutOnlyAtTheResumeMark) {
    JQueue queue(2, 0, 10);
    for (int i = 0; i < 3; ++i) put(queue, i);
    get(queue);
    EXPECT_EQ(put(queue, 3), JQueue::FULL);
    EXPECT_EQ(put2(queue, 4), JQueue::OK);
    EXPECT_EQ(put(queue, 5), JQueue::FULL);
    EXPECT_EQ(get(queue), 1);
    EXPECT_EQ(put(queue, 6), JQueue::FULL);
    EXPECT_EQ(get(queue), 4);
    EXPECT_FALSE(JQueuePeer::full(queue));
    EXPECT_EQ(put(queue, 7), JQueue::OK);
    EXPECT_EQ(get(queue), 7);
}

TEST_F(JQueueTest, WithoutARefusal_AFullQueueAcceptsAgainAfterOneGet) {
    JQueue queue(2, 0, 10);
    put(queue, 0);
    put(queue, 1);
    get(queue);
    EXPECT_EQ(put(queue, 2), JQueue::OK);
}

TEST_F(JQueueTest, ResumeMarkOfOne_ResumesWithOneItemLeft) {
    JQueue queue(3, 1, 10);
    for (int i = 0; i < 4; ++i) put(queue, i);
    get(queue);
    EXPECT_EQ(put(queue, 4), JQueue::FULL);
    get(queue);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_EQ(put(queue, 5), JQueue::OK);
}

TEST_F(JQueueTest, Put2_RefusesAtTheCapacityAndSetsTheFlag) {
    JQueue queue(2, 0, 10);
    put2(queue, 0);
    put2(queue, 1);
    EXPECT_EQ(put2(queue, 2), JQueue::FULL);
    EXPECT_TRUE(JQueuePeer::full(queue));
    EXPECT_EQ(Item::clonesMade, 2);
    get(queue);
    EXPECT_EQ(put(queue, 3), JQueue::FULL);
}

TEST_F(JQueueTest, CapacityOfZero_RefusesEverything) {
    JQueue queue(0, 10);
    EXPECT_TRUE(queue.isFull());
    EXPECT_EQ(put(queue, 0), JQueue::FULL);
    EXPECT_EQ(put2(queue, 0), JQueue::FULL);
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(JQueueTest, IsFull_AtTheCapacityOrAfterARefusal) {
    JQueue queue(2, 0, 10);
    put(queue, 0);
    EXPECT_FALSE(queue.isFull());
    put(queue, 1);
    EXPECT_TRUE(queue.isFull());
    get(queue);
    EXPECT_FALSE(queue.isFull());
    put(queue, 2);
    put(queue, 3);
    get(queue);
    EXPECT_TRUE(queue.isFull());
    get(queue);
    EXPECT_FALSE(queue.isFull());
}

// ---- adopt ----

TEST_F(JQueueTest, Adopt_StoresTheObjectItself) {
    JQueue queue(2);
    Item original(1);
    std::unique_ptr<JObject> item(original.clone());
    JObject* const adopted = item.get();
    EXPECT_EQ(queue.adopt(item.release()), JQueue::OK);
    EXPECT_EQ(Item::clonesMade, 1);
    EXPECT_EQ(queue.peek(), adopted);
    EXPECT_EQ(queue.input(), 1);
    EXPECT_EQ(get(queue), 1);
}

TEST_F(JQueueTest, Adopt_RefusesAsPutDoesAndLeavesTheObjectToTheCaller) {
    JQueue queue(2, 0, 2);
    Item original(1);
    const std::unique_ptr<JObject> item(original.clone());
    put(queue, 0);
    put(queue, 1);
    EXPECT_EQ(queue.adopt(item.get()), JQueue::FULL);
    EXPECT_TRUE(JQueuePeer::full(queue));
    get(queue);
    EXPECT_EQ(queue.adopt(item.get()), JQueue::FULL);
    queue.clearAll();
    EXPECT_EQ(queue.adopt(item.get()), JQueue::FULL);
    EXPECT_EQ(Item::clonesLiving(), 1);
}

TEST_F(JQueueTest, Adopt_WithoutMemoryForASegment_LeavesTheObjectToTheCaller) {
    JQueue queue(1);
    Item original(1);
    const std::unique_ptr<JObject> item(original.clone());
    const auto adopt = [&] {
        const FailingAllocation failing;
        queue.adopt(item.get());
    };
    EXPECT_THROW(adopt(), std::bad_alloc);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.peek(), nullptr);
}

// ---- counters ----

TEST_F(JQueueTest, Counters_CountAcceptedAndTakenItems) {
    JQueue queue(2, 10);
    put(queue, 0);
    put(queue, 1);
    put(queue, 2);
    EXPECT_EQ(queue.input(), 2);
    get(queue);
    get(queue);
    get(queue);
    EXPECT_EQ(queue.output(), 2);
}

TEST_F(JQueueTest, Counters_WrapAround) {
    JQueue queue(10);
    JQueuePeer::setCounters(queue, INT_MAX);
    put(queue, 0);
    EXPECT_EQ(queue.input(), INT_MIN);
    get(queue);
    EXPECT_EQ(queue.output(), INT_MIN);
    expectAccountsBalance(queue);
}

// ---- clearing ----

TEST_F(JQueueTest, ClearAll_DeletesItemsAndSegmentsAndCountsThemAsOutput) {
    JQueue queue(2);
    for (int i = 0; i < 5; ++i) put(queue, i);
    get(queue);
    queue.clearAll();
    EXPECT_EQ(Item::clonesLiving(), 0);
    EXPECT_EQ(JQueuePeer::head(queue), nullptr);
    EXPECT_EQ(JQueuePeer::tail(queue), nullptr);
    EXPECT_EQ(queue.size(), 0);
    EXPECT_EQ(queue.input(), 5);
    EXPECT_EQ(queue.output(), 5);
}

TEST_F(JQueueTest, AfterClearAll_PutRefusesAndGetFindsNothing) {
    JQueue queue(2);
    put(queue, 0);
    queue.clearAll();
    EXPECT_EQ(put(queue, 1), JQueue::FULL);
    EXPECT_EQ(put2(queue, 1), JQueue::FULL);
    EXPECT_EQ(queue.get(), nullptr);
    EXPECT_EQ(queue.peek(), nullptr);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.input(), 1);
    EXPECT_EQ(Item::clonesMade, 1);
    queue.clearAll();
}

TEST_F(JQueueTest, AfterClearAll_InitializeMakesItUsableAgain) {
    JQueue queue(2);
    put(queue, 0);
    queue.clearAll();
    queue.initialize();
    EXPECT_EQ(queue.input(), 0);
    EXPECT_EQ(put(queue, 1), JQueue::OK);
    EXPECT_EQ(get(queue), 1);
}

TEST_F(JQueueTest, Clear_StartsAgainWithOneSegmentAndCountersOfZero) {
    JQueue queue(2, 0, 2);
    for (int i = 0; i < 3; ++i) put(queue, i);
    get(queue);
    ASSERT_TRUE(JQueuePeer::full(queue));
    queue.clear();
    EXPECT_EQ(Item::clonesLiving(), 0);
    EXPECT_EQ(segmentsOf(queue), 1);
    EXPECT_FALSE(queue.isFull());
    EXPECT_EQ(JQueuePeer::readIndex(queue), 0);
    EXPECT_EQ(JQueuePeer::writeIndex(queue), 0);
    EXPECT_EQ(queue.input(), 0);
    EXPECT_EQ(queue.output(), 0);
    EXPECT_EQ(put(queue, 1), JQueue::OK);
}

TEST_F(JQueueTest, Initialize_DeletesWhatTheQueueStillHolds) {
    JQueue queue(2);
    for (int i = 0; i < 3; ++i) put(queue, i);
    queue.initialize();
    EXPECT_EQ(Item::clonesLiving(), 0);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.input(), 0);
    EXPECT_EQ(queue.output(), 0);
    EXPECT_EQ(segmentsOf(queue), 1);
}

TEST_F(JQueueTest, Destructor_DeletesWhatTheQueueStillHolds) {
    {
        JQueue queue(2);
        for (int i = 0; i < 5; ++i) put(queue, i);
        EXPECT_EQ(Item::clonesLiving(), 5);
    }
    EXPECT_EQ(Item::clonesLiving(), 0);
}

// ---- failures of the allocator ----

TEST_F(JQueueTest, CloneThatThrows_LeavesTheQueueAsItWas) {
    JQueue queue(1);
    put(queue, 0);
    Item::cloneThrows = true;
    EXPECT_THROW(put(queue, 1), std::bad_alloc);
    EXPECT_THROW(put2(queue, 1), std::bad_alloc);
    Item::cloneThrows = false;
    EXPECT_EQ(queue.size(), 1);
    EXPECT_EQ(queue.input(), 1);
    EXPECT_EQ(segmentsOf(queue), 2);
    EXPECT_EQ(put(queue, 2), JQueue::OK);
    EXPECT_EQ(get(queue), 0);
    EXPECT_EQ(get(queue), 2);
}

TEST_F(JQueueTest, PutWithoutMemory_LeavesTheQueueAsItWas) {
    JQueue queue(2);
    put(queue, 0);
    Item item(1);
    const int failures = support::failEachAllocation([&] { queue.put(item); },
                                                     [&] {
                                                         EXPECT_EQ(Item::clonesLiving(), 1);
                                                         EXPECT_EQ(queue.size(), 1);
                                                         EXPECT_EQ(queue.input(), 1);
                                                         EXPECT_EQ(segmentsOf(queue), 1);
                                                         EXPECT_EQ(JQueuePeer::writeIndex(queue), 1);
                                                     });
    EXPECT_GE(failures, 3);  // the copy, the segment, its slots
    EXPECT_EQ(get(queue), 0);
    EXPECT_EQ(get(queue), 1);
}

TEST_F(JQueueTest, InitializeWithoutMemory_LeavesTheQueueAsItWas) {
    JQueue queue(3);
    put(queue, 0);
    EXPECT_GE(support::failEachAllocation([] { JQueue another(3); }, [] {}), 2);
    const auto initialize = [&] {
        const FailingAllocation failing;
        queue.initialize();
    };
    EXPECT_THROW(initialize(), std::bad_alloc);
    EXPECT_EQ(queue.input(), 1);
    EXPECT_EQ(get(queue), 0);
}

TEST_F(JQueueTest, ClearWithoutMemory_LeavesAClearedQueue) {
    JQueue queue(3);
    put(queue, 0);
    const auto clear = [&] {
        const FailingAllocation failing;
        queue.clear();
    };
    EXPECT_THROW(clear(), std::bad_alloc);
    EXPECT_EQ(put(queue, 1), JQueue::FULL);
    queue.initialize();
    EXPECT_EQ(put(queue, 1), JQueue::OK);
}

// ---- against a model ----

namespace {

/** The described behaviour on a plain deque. */
struct Model {
    int capacity;
    int resume;
    std::deque<int> items;
    bool full = false;
    int in = 0;
    int out = 0;

    int put(int number) { return full ? JQueue::FULL : put2(number); }
    int put2(int number) {
        full = full || static_cast<int>(items.size()) >= capacity;
        if (static_cast<int>(items.size()) >= capacity) return JQueue::FULL;
        items.push_back(number);
        ++in;
        return JQueue::OK;
    }
    int get() {
        if (items.empty()) return NOTHING;
        const int number = items.front();
        items.pop_front();
        if (static_cast<int>(items.size()) <= resume) full = false;
        ++out;
        return number;
    }
};

void step(JQueue& queue, Model& model, int choice, int number) {
    if (choice < 4) {
        ASSERT_EQ(put(queue, number), model.put(number));
    } else if (choice < 6) {
        ASSERT_EQ(put2(queue, number), model.put2(number));
    } else {
        ASSERT_EQ(get(queue), model.get());
    }
    ASSERT_EQ(queue.size(), static_cast<int>(model.items.size()));
    ASSERT_EQ(JQueuePeer::full(queue), model.full);
    ASSERT_EQ(queue.input(), model.in);
    ASSERT_EQ(queue.output(), model.out);
    ASSERT_EQ(numberOf(queue.peek()), model.items.empty() ? NOTHING : model.items.front());
    ASSERT_EQ(Item::clonesLiving(), queue.size());
}

}  // namespace

TEST_F(JQueueTest, BehavesAsItsModelForEverySmallShape) {
    std::mt19937 random(1);
    for (int segment = 1; segment <= 4; ++segment) {
        for (int capacity = 0; capacity <= 6; ++capacity) {
            for (int resume = -1; resume <= capacity; ++resume) {
                JQueue queue(capacity, resume, segment);
                Model model{capacity, resume, {}};
                for (int i = 0; i < 300; ++i) {
                    step(queue, model, static_cast<int>(random() % 10), i);
                    ASSERT_FALSE(HasFatalFailure()) << segment << ' ' << capacity << ' ' << resume;
                }
            }
        }
    }
}
