#include "bus/detail/Outcome.h"

#include <atomic>
#include <gtest/gtest.h>

#include "net/Peer.h"
#include "support/Thread.h"

using jay::detail::Outcome;

namespace {

constexpr int UNKNOWN = -7;

TEST(OutcomeTest, Wait_GivesTheNumberThatWasStated) {
    Outcome outcome;
    EXPECT_EQ(outcome.wait(0, UNKNOWN), UNKNOWN);
    outcome.set(0);
    EXPECT_EQ(outcome.wait(0, UNKNOWN), 0);
    EXPECT_EQ(outcome.wait(-1, UNKNOWN), 0);
}

TEST(OutcomeTest, Wait_EndsWhenTheTimeIsUp) {
    Outcome outcome;
    const net::Stopwatch watch;
    EXPECT_EQ(outcome.wait(30, UNKNOWN), UNKNOWN);
    EXPECT_GE(watch.ms(), 29);
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST(OutcomeTest, Set_WakesEveryWaitingThread) {
    Outcome outcome;
    std::atomic<int> got{0};
    {
        support::Thread one([&] { got += outcome.wait(60000, 0); });
        support::Thread two([&] { got += outcome.wait(60000, 0); });
        EXPECT_TRUE(one.fallsAsleep());
        EXPECT_TRUE(two.fallsAsleep());
        outcome.set(98);
    }
    EXPECT_EQ(got, 2 * 98);
}

TEST(OutcomeTest, Wait_OfACancelledThreadLeavesTheLockFree) {
    Outcome outcome;
    support::Thread waiting([&] { outcome.wait(60000, UNKNOWN); });
    EXPECT_TRUE(waiting.fallsAsleep());
    waiting.cancel();
    waiting.join();
    outcome.set(1);
    EXPECT_EQ(outcome.wait(0, UNKNOWN), 1);
}

}  // namespace
