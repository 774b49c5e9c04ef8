#include "thread/JEvent.h"

#include <chrono>
#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sys/time.h>
#include <vector>

#include "support/JEventPeer.h"
#include "support/Thread.h"
#include "support/WallClock.h"

using jay::detail::JEventPeer;
using support::eventually;
using support::Thread;
using support::WallClock;

namespace {

using Clock = std::chrono::steady_clock;

long long millisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

void setTimes(JEvent& event, int times) {
    for (int i = 0; i < times; ++i) event.set();
}

/** Whether the action takes less than so long. Asks several times: a machine may stall at any moment. */
bool takesLessThan(long long milliseconds, const std::function<void()>& action) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        const auto start = Clock::now();
        action();
        if (millisecondsSince(start) < milliseconds) return true;
    }
    return false;
}

/** Waits until the microseconds of the time of day lie in [from, to); returns that time. */
timeval microsecondsBetween(long from, long to) {
    timeval now;
    do {
        gettimeofday(&now, nullptr);
    } while (now.tv_usec < from || now.tv_usec >= to);
    return now;
}

/** Threads that wait on one event, and what their waits returned. */
struct Waiters {
    Waiters(JEvent& event, int number, int ms) : results(static_cast<size_t>(number)) {
        for (auto& result : results) {
            threads.push_back(std::make_unique<Thread>([&event, &result, ms] { result = event.wait(ms); }));
        }
    }
    bool fallAsleep() {
        return eventually([this] {
            for (auto& thread : threads) {
                if (!thread->isAsleep()) return false;
            }
            return true;
        });
    }
    int finished() {
        int count = 0;
        for (auto& thread : threads) count += thread->isFinished();
        return count;
    }

    std::vector<std::atomic<int>> results;
    std::vector<std::unique_ptr<Thread>> threads;
};

}  // namespace

TEST(JEventTest, InheritsTheRootsOperations) {
    JEvent event;
    JEvent other;
    EXPECT_EQ(event.hashCode(), 0);
    EXPECT_EQ(event.clone(), nullptr);
    EXPECT_TRUE(event.equals(other));
}

TEST(JEventTest, IsNew_WithoutSignalsAndWithoutAutoReset) {
    JEvent event;
    EXPECT_EQ(event.count(), 0);
    setTimes(event, 2);
    EXPECT_EQ(event.wait(), 2);
    EXPECT_EQ(event.count(), 1);
}

// ---- set, notify, reset ----

TEST(JEventTest, Set_AddsOneSignalAndReturnsZero) {
    JEvent event;
    EXPECT_EQ(event.set(), 0);
    EXPECT_EQ(event.count(), 1);
    EXPECT_EQ(event.set(), 0);
    EXPECT_EQ(event.count(), 2);
}

TEST(JEventTest, Notify_IsSet) {
    JEvent event;
    EXPECT_EQ(event.notify(), 0);
    EXPECT_EQ(event.count(), 1);
    EXPECT_EQ(event.wait(0), 1);
}

TEST(JEventTest, Set_AtTheLargestCount_DropsTheSignal) {
    JEvent event;
    JEventPeer::setCount(event, INT_MAX);
    EXPECT_EQ(event.set(), 0);
    EXPECT_EQ(event.count(), INT_MAX);
    EXPECT_EQ(event.wait(0), INT_MAX);
}

TEST(JEventTest, Reset_TakesBackOneSignalOnly) {
    JEvent event;
    setTimes(event, 3);
    EXPECT_EQ(event.reset(), 0);
    EXPECT_EQ(event.count(), 2);
}

TEST(JEventTest, Reset_WithoutSignals_LeavesZero) {
    JEvent event;
    EXPECT_EQ(event.reset(), 0);
    EXPECT_EQ(event.count(), 0);
}

TEST(JEventTest, Reset_WakesWaitersWhichSleepOn) {
    for (const int ms : {-1, 600000}) {
        JEvent event;
        Thread waiter([&] { event.wait(ms); });
        ASSERT_TRUE(waiter.fallsAsleep());
        const long before = waiter.sleeps();
        event.reset();
        EXPECT_TRUE(eventually([&] { return waiter.sleeps() > before && waiter.isAsleep(); })) << ms;
        EXPECT_FALSE(waiter.isFinished()) << ms;
        event.set();
    }
}

// ---- wait: what it consumes ----

TEST(JEventTest, Wait_ConsumesOneSignalAndReturnsHowManyThereWere) {
    JEvent event;
    setTimes(event, 2);
    EXPECT_EQ(event.wait(-1), 2);
    EXPECT_EQ(event.wait(-1), 1);
    EXPECT_EQ(event.wait(0), -1);
    EXPECT_EQ(event.count(), 0);
}

TEST(JEventTest, Wait_WithAutoReset_ConsumesAllSignals) {
    JEvent event;
    event.setAutoReset(true);
    setTimes(event, 2);
    EXPECT_EQ(event.wait(-1), 2);
    EXPECT_EQ(event.count(), 0);
    EXPECT_EQ(event.wait(0), -1);
}

TEST(JEventTest, SetAutoReset_CanBeTakenBack) {
    JEvent event;
    event.setAutoReset(true);
    event.setAutoReset(false);
    setTimes(event, 2);
    EXPECT_EQ(event.wait(), 2);
    EXPECT_EQ(event.count(), 1);
}

TEST(JEventTest, SetAutoReset_TakesNoLock) {
    JEvent event;
    const JEventPeer::Held held(event);
    Thread other([&] { event.setAutoReset(true); });
    EXPECT_TRUE(eventually([&] { return other.isFinished(); }));
}

TEST(JEventTest, CountSetAndReset_TakeTheLock) {
    JEvent event;
    auto held = std::make_unique<JEventPeer::Held>(event);
    Thread counts([&] { event.count(); });
    Thread sets([&] { event.set(); });
    Thread resets([&] { event.reset(); });
    EXPECT_TRUE(counts.fallsAsleep());
    EXPECT_TRUE(sets.fallsAsleep());
    EXPECT_TRUE(resets.fallsAsleep());
    held.reset();
}

TEST(JEventTest, Wait_LooksAtTheCountBeforeItWaits) {
    for (const int ms : {-1, 0, -5, INT_MIN, 1, 1500, INT_MAX}) {
        JEvent event;
        event.set();
        EXPECT_EQ(event.wait(ms), 1) << ms;
        EXPECT_EQ(event.count(), 0) << ms;
    }
}

// ---- wait: how long ----

TEST(JEventTest, Wait_ForZeroOrNegative_PollsAnUnsetEvent) {
    for (const int ms : {0, -2, -5, -999, -1000, -1001, INT_MIN}) {
        JEvent event;
        EXPECT_TRUE(takesLessThan(500, [&] { EXPECT_EQ(event.wait(ms), -1) << ms; })) << ms;
        EXPECT_EQ(event.count(), 0) << ms;
    }
}

TEST(JEventTest, Wait_ForWholeSeconds_WaitsInFullAtAnyMoment) {
    JEvent event;
    microsecondsBetween(900000, 950000);
    EXPECT_TRUE(takesLessThan(1900, [&] {
        const auto start = Clock::now();
        EXPECT_EQ(event.wait(1000), -1);
        EXPECT_GE(millisecondsSince(start), 999);
    }));
}

TEST(JEventTest, Wait_WithoutACarry_WaitsInFull) {
    JEvent event;
    microsecondsBetween(0, 300000);
    const auto start = Clock::now();
    EXPECT_EQ(event.wait(1250), -1);
    EXPECT_GE(millisecondsSince(start), 1249);
}

TEST(JEventTest, Wait_WhenTheMicrosecondsWouldCarry_ReturnsAtOnce) {
    JEvent event;
    // A machine may stall at any moment, so only a call that began and ended within one second tells
    // anything; a wait that blocks never does.
    const bool returnedAtOnce = [&] {
        for (int attempt = 0; attempt < 5; ++attempt) {
            const timeval before = microsecondsBetween(600000, 700000);
            EXPECT_EQ(event.wait(1500), -1);
            timeval after;
            gettimeofday(&after, nullptr);
            if (after.tv_sec == before.tv_sec) return true;
        }
        return false;
    }();
    EXPECT_TRUE(returnedAtOnce);
}

TEST(JEventTest, Wait_WhenTheMicrosecondsWouldCarry_StillFindsASignal) {
    JEvent event;
    setTimes(event, 2);
    microsecondsBetween(600000, 700000);
    EXPECT_EQ(event.wait(1500), 2);
    EXPECT_EQ(event.count(), 1);
}

TEST(JEventTest, Set_EndsAWaitForEver) {
    JEvent event;
    Waiters waiters(event, 1, -1);
    ASSERT_TRUE(waiters.fallAsleep());
    event.set();
    waiters.threads[0]->join();
    EXPECT_EQ(waiters.results[0], 1);
    EXPECT_EQ(event.count(), 0);
}

TEST(JEventTest, WaitWithoutArgument_WaitsForEver) {
    JEvent event;
    int result = 0;
    Thread waiter([&] { result = event.wait(); });
    ASSERT_TRUE(waiter.fallsAsleep());
    event.set();
    waiter.join();
    EXPECT_EQ(result, 1);
}

TEST(JEventTest, Set_EndsATimedWait) {
    JEvent event;
    Waiters waiters(event, 1, 600000);
    ASSERT_TRUE(waiters.fallAsleep());
    event.set();
    EXPECT_TRUE(eventually([&] { return waiters.finished() == 1; }));
    waiters.threads[0]->cancel();  // if it has not ended
    waiters.threads[0]->join();
    EXPECT_EQ(waiters.results[0], 1);
}

// ---- wait: the time of day is set ----

TEST(JEventTest, TimeOfDaySetBackDuringAWait_DoesNotProlongIt) {
    JEvent event;
    const WallClock ahead(
        support::AN_HOUR_MS);  // the wait begins an hour ahead of the clock that the system waits by
    EXPECT_TRUE(takesLessThan(1900, [&] { EXPECT_EQ(event.wait(1000), -1); }));
}

TEST(JEventTest, TimeOfDaySetForwardDuringAWait_DoesNotEndIt) {
    JEvent event;
    const WallClock behind(-support::AN_HOUR_MS);
    const auto start = Clock::now();
    EXPECT_EQ(event.wait(1000), -1);
    EXPECT_GE(millisecondsSince(start), 999);
}

TEST(JEventTest, Wait_ForTheLargestTime_WaitsUntilSet) {
    JEvent event;
    microsecondsBetween(0, 100000);  // no carry: the largest time ends in 647 ms
    Waiters waiters(event, 1, INT_MAX);
    ASSERT_TRUE(waiters.fallAsleep());
    EXPECT_EQ(waiters.finished(), 0);
    event.set();
    waiters.threads[0]->join();
    EXPECT_EQ(waiters.results[0], 1);
}

TEST(JEventTest, SignalThatComesTogetherWithTheTimeOut_Counts) {
    JEvent event;
    Waiters waiters(event, 1, 1000);
    ASSERT_TRUE(waiters.fallAsleep());
    auto held = std::make_unique<JEventPeer::Held>(event);
    JEventPeer::setCount(
        event, 1);  // without a wake-up: the waiter finds it when its time is up and it gets the lock
    const long before = waiters.threads[0]->sleeps();
    EXPECT_TRUE(
        eventually([&] { return waiters.threads[0]->sleeps() > before && waiters.threads[0]->isAsleep(); }));
    held.reset();
    waiters.threads[0]->join();
    EXPECT_EQ(waiters.results[0], 1);
    EXPECT_EQ(event.count(), 0);
}

// ---- several waiters ----

TEST(JEventTest, AsManyWaitersGoOnAsThereAreSignals) {
    JEvent event;
    Waiters waiters(event, 3, -1);
    ASSERT_TRUE(waiters.fallAsleep());
    setTimes(event, 2);
    EXPECT_TRUE(eventually([&] { return waiters.finished() == 2 && event.count() == 0; }));
    event.set();
    EXPECT_TRUE(eventually([&] { return waiters.finished() == 3; }));
    for (const auto& result : waiters.results) EXPECT_GE(result, 1);
    EXPECT_EQ(event.count(), 0);
}

TEST(JEventTest, OneSignal_LetsOneWaiterGoOn) {
    JEvent event;
    Waiters waiters(event, 2, -1);
    ASSERT_TRUE(waiters.fallAsleep());
    event.set();
    EXPECT_TRUE(eventually([&] { return waiters.finished() == 1; }));
    EXPECT_TRUE(eventually([&] { return waiters.threads[0]->isAsleep() || waiters.threads[1]->isAsleep(); }));
    EXPECT_EQ(waiters.finished(), 1);
    event.set();
}

TEST(JEventTest, EverySignalIsConsumedOnce) {
    constexpr int THREADS = 3;
    constexpr int SIGNALS = 2000;
    JEvent event;
    std::atomic<int> consumed{0};
    {
        std::vector<std::unique_ptr<Thread>> threads;
        for (int i = 0; i < THREADS; ++i) {
            threads.push_back(std::make_unique<Thread>([&] { setTimes(event, SIGNALS); }));
            threads.push_back(std::make_unique<Thread>([&] {
                for (int n = 0; n < SIGNALS; ++n) consumed += event.wait() >= 1;
            }));
        }
    }
    EXPECT_EQ(consumed, THREADS * SIGNALS);
    EXPECT_EQ(event.count(), 0);
}

// ---- the end of an event ----

TEST(JEventTest, Destroyed_UnderAWaiter_ReturnsAllTheSame) {
    // A process that ends, and a forked child, destroy events whose waiters are gone or never return.
    alignas(JEvent) char place[sizeof(JEvent)];
    auto* const event = new (place) JEvent;
    Thread waiter([&] { event->wait(); });
    ASSERT_TRUE(waiter.fallsAsleep());
    Thread destroyer([&] { event->~JEvent(); });
    EXPECT_TRUE(eventually([&] { return destroyer.isFinished(); }));
    waiter.cancel();
}

// ---- cancellation ----

class JEventCancellationTest : public ::testing::TestWithParam<int> {};

TEST_P(JEventCancellationTest, CancelledWait_LeavesTheEventUsable) {
    JEvent event;
    Thread waiter([&] { event.wait(GetParam()); });
    ASSERT_TRUE(waiter.fallsAsleep());
    waiter.cancel();
    EXPECT_TRUE(waiter.join());

    EXPECT_EQ(event.set(), 0);
    EXPECT_EQ(event.count(), 1);
    EXPECT_EQ(event.wait(), 1);
}

TEST_P(JEventCancellationTest, CancelledWait_ConsumesNothingThatOthersWaitFor) {
    JEvent event;
    Thread cancelled([&] { event.wait(GetParam()); });
    Waiters waiters(event, 1, -1);
    ASSERT_TRUE(cancelled.fallsAsleep());
    ASSERT_TRUE(waiters.fallAsleep());
    cancelled.cancel();
    EXPECT_TRUE(cancelled.join());
    event.set();
    waiters.threads[0]->join();
    EXPECT_EQ(waiters.results[0], 1);
}

INSTANTIATE_TEST_SUITE_P(ForEverAndTimed, JEventCancellationTest, ::testing::Values(-1, 600000));
