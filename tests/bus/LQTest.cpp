#include "bus/LQ.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "bus/OwnBurst.h"
#include "bus/QueueTests.h"
#include "bus/SA.h"
#include "bus/SM.h"
#include "support/LQPeer.h"
#include "support/SAPeer.h"

namespace bus {

template <>
struct QueueOwner<LQ> {
    using Peer = jay::detail::LQPeer;

    SA* get() { return &agent; }
    JEvent& event() { return jay::detail::SAPeer::event(agent); }

    static int chosen(M& m) { return Peer::bandOf(m.getFlag(), m.getPriority()); }
    static int band(int flag, int priority) {
        if (flag > 0) return 0;
        return priority == 0 ? 1 : 2;
    }
    static std::vector<Wire> oneForEachBand() { return {Wire().flagged(TIMED), Wire(), Wire().urgency(1)}; }
    static std::vector<int> destroyedInOrder() { return {20, 21, 10, 11, 0, 1}; }

    SM manager{1};  // never started: its port is of no account
    SA agent{&manager, 5};
};

INSTANTIATE_TYPED_TEST_SUITE_P(LQ, BusQueueTest, testing::Types<LQ>);

namespace {
class LQTest : public BusQueueTest<LQ> {};
}  // namespace

TEST_F(LQTest, Priorities1And255_ShareABandInOrderOfArrival) {
    add(0, 255, 1);
    add(0, 1, 2);
    add(0, 255, 3);
    add(0, 0, 4);
    for (const int number : {4, 1, 2, 3}) EXPECT_EQ(next(), number);
}

TEST_F(LQTest, AnyFlag_GoesBeforePriority0) {
    add(0, 0, 1);
    add(TIMED, 255, 2);
    add(BROADCAST, 0, 3);
    add(0x80, 9, 4);
    add(SYNC, 1, 5);
    for (const int number : {2, 3, 4, 5, 1}) EXPECT_EQ(next(), number);
}

TEST_F(LQTest, Peek_LendsTheMessageThatGetWillYield) {
    add(0, 9, 1);
    EXPECT_EQ(queue->peek()->getSection(), 1);
    add(0, 0, 2);
    EXPECT_EQ(queue->peek()->getSection(), 2);
    add(TIMED, 9, 3);
    M* const first = queue->peek();
    EXPECT_EQ(first->getSection(), 3);
    EXPECT_EQ(queue->peek(), first);
    EXPECT_EQ(get().get(), first);
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 1);
}

TEST_F(LQTest, Peek_OfAnEmptyQueueIsNull) {
    EXPECT_EQ(queue->peek(), nullptr);
    add(0, 0, 1);
    get();
    EXPECT_EQ(queue->peek(), nullptr);
}

TEST_F(LQTest, Peek_OfAClosedQueueIsNull) {
    add(0, 0, 1);
    closed() = true;
    EXPECT_EQ(queue->peek(), nullptr);
    closed() = false;
    EXPECT_NE(queue->peek(), nullptr);
}

TEST_F(LQTest, Gather_CopiesTheFirstBand_AsItGoesOut_AndLeavesItThere) {
    add(Wire().urgency(9).says("later"));
    add(Wire().about(1).says("one"));
    add(Wire().about(2).says("two"));
    OwnBurst burst;
    ASSERT_EQ(queue->gather(burst), 2);
    const std::string expected = Wire().about(1).says("one").bytes() + Wire().about(2).says("two").bytes();
    EXPECT_EQ(std::string(burst.bytes(), static_cast<std::size_t>(burst.end(2))), expected);
    EXPECT_EQ(burst.end(1), 19);
    EXPECT_EQ(next(), 1);
}

TEST_F(LQTest, Gather_OfAnEmptyOrClosedQueueIsNothing) {
    OwnBurst burst;
    EXPECT_EQ(queue->gather(burst), 0);
    add(0, 0, 1);
    closed() = true;
    EXPECT_EQ(queue->gather(burst), 0);
    closed() = false;
}

TEST_F(LQTest, Gather_EndsBeforeATimedMessage) {
    OwnBurst burst;
    add(SYNC, 0, 1);
    add(TIMED | SYNC, 0, 2);
    add(SYNC, 0, 3);
    EXPECT_EQ(queue->gather(burst), 1);
    get();
    EXPECT_EQ(queue->gather(burst), 0);
}

TEST_F(LQTest, Gather_EndsBeforeWhatDoesNotFit) {
    OwnBurst burst;
    add(Wire().about(1).says(std::string(4000, 'a')));
    add(Wire().about(2).says(std::string(8192 - 4016 - 16, 'b')));
    add(Wire().about(3));
    EXPECT_EQ(queue->gather(burst), 2);
    EXPECT_EQ(burst.end(2), 8192);
    get();
    get();
    add(Wire().about(4).says(std::string(8177, 'c')));
    EXPECT_EQ(queue->gather(burst), 1);
    get();
    EXPECT_EQ(queue->gather(burst), 0);
    EXPECT_EQ(next(), 4);
}

TEST_F(LQTest, Gather_TakesNoMoreThan1024) {
    std::vector<char> room(2 * 1024 * 16);
    jay::detail::Burst burst(room.data(), static_cast<int>(room.size()));
    for (unsigned i = 0; i < 1030; i++) add(0, 0, i);
    EXPECT_EQ(queue->gather(burst), 1024);
    EXPECT_TRUE(queue->drop(burst, 1024));
    EXPECT_EQ(queue->gather(burst), 6);
    EXPECT_EQ(next(), 1024);
}

TEST_F(LQTest, Drop_SaysWhetherMoreMessagesWait) {
    add(0, 0, 1);
    add(0, 9, 2);
    OwnBurst burst;
    ASSERT_EQ(queue->gather(burst), 1);
    EXPECT_TRUE(queue->drop(burst, 1));
    ASSERT_EQ(queue->gather(burst), 1);
    EXPECT_FALSE(queue->drop(burst, 1));
}

TEST_F(LQTest, Drop_TakesOutWhatWasGathered_WhateverCameInFrontOfIt) {
    for (unsigned i = 1; i <= 4; i++) add(0, 0, i);
    OwnBurst burst;
    ASSERT_EQ(queue->gather(burst), 4);
    add(SYNC, 0, 9);
    queue->drop(burst, 3);
    for (const int number : {9, 4, -1}) EXPECT_EQ(next(), number);
}

TEST_F(LQTest, Burst_SaysWhichMessagesAPartOfItsBytesBegins) {
    for (unsigned i = 0; i < 3; i++) add(Wire().says("four"));  // 20 bytes each
    OwnBurst burst;
    ASSERT_EQ(queue->gather(burst), 3);
    for (const auto& [bytes, begun] :
         {std::pair(0, 0), {1, 1}, {19, 1}, {20, 1}, {21, 2}, {40, 2}, {41, 3}, {60, 3}})
        EXPECT_EQ(burst.begunWithin(bytes), begun) << bytes;
}

TEST_F(LQTest, Peek_HoldsTheLock) {
    JLock& lock = this->lock();
    lock.lock();
    support::Thread thread([this] { queue->peek(); });
    EXPECT_TRUE(thread.fallsAsleep());
    EXPECT_FALSE(thread.isFinished());
    lock.unlock();
    thread.join();
    EXPECT_TRUE(thread.isFinished());
}

TEST_F(LQTest, Peek_NotifiesNobody) {
    queue->peek();
    EXPECT_EQ(signals(), 0);
}

}  // namespace bus
