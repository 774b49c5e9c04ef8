#include "bus/MQ.h"

#include <gtest/gtest.h>

#include "bus/QueueTests.h"
#include "bus/SM.h"
#include "support/MQPeer.h"
#include "support/SMPeer.h"

namespace bus {

template <>
struct QueueOwner<MQ> {
    using Peer = jay::detail::MQPeer;

    SM* get() { return &manager; }
    JEvent& event() { return jay::detail::SMPeer::event(manager); }

    static int chosen(M& m) { return Peer::bandOf(m.getFlag(), m.getPriority()); }
    static int band(int flag, int priority) {
        if (flag % 2 == 1) return 0;
        return priority == 0 ? 1 : priority == 1 ? 2 : 3;
    }
    static std::vector<Wire> oneForEachBand() {
        return {Wire().flagged(SYNC), Wire(), Wire().urgency(1), Wire().urgency(2)};
    }
    static std::vector<int> destroyedInOrder() { return {0, 1, 10, 11, 20, 21, 30, 31}; }

    SM manager{1};  // never started: its port is of no account
};

INSTANTIATE_TYPED_TEST_SUITE_P(MQ, BusQueueTest, testing::Types<MQ>);

namespace {
class MQTest : public BusQueueTest<MQ> {};
}  // namespace

TEST_F(MQTest, Priority1_IsTakenBeforePriority2And255WhichShareABand) {
    add(0, 255, 1);
    add(0, 2, 2);
    add(0, 255, 3);
    add(0, 1, 4);
    for (const int number : {4, 1, 2, 3}) EXPECT_EQ(next(), number);
}

TEST_F(MQTest, OnlySync_GoesBeforePriority0) {
    add(0, 0, 1);
    add(BROADCAST | TIMED, 0, 2);
    add(BROADCAST, 5, 3);
    add(SYNC | BROADCAST, 5, 4);
    add(SYNC, 255, 5);
    for (const int number : {4, 5, 1, 2, 3}) EXPECT_EQ(next(), number);
}

TEST_F(MQTest, SyncMessages_KeepTheirOrderWhateverTheirPriority) {
    add(SYNC, 9, 1);
    add(SYNC, 0, 2);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(next(), 2);
}

}  // namespace bus
