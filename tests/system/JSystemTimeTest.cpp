#include <cerrno>
#include <chrono>
#include <climits>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <string>
#include <sys/time.h>

#include "support/Thread.h"
#include "support/WallClock.h"
#include "system/JSystem.h"

using support::Thread;

namespace {

using Clock = std::chrono::steady_clock;

long long microsecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
}

long long timeOfDay() {
    timeval now;
    gettimeofday(&now, nullptr);
    return now.tv_sec * 1000LL + now.tv_usec / 1000;
}

void doNothing(int) {
}

/** A signal whose handler does nothing but end blocking calls, for the length of a scope. */
class WakingSignal {
public:
    WakingSignal() {
        struct sigaction action = {};
        action.sa_handler = doNothing;
        sigaction(SIGUSR1, &action, &previous_);
    }
    ~WakingSignal() { sigaction(SIGUSR1, &previous_, nullptr); }
    WakingSignal(const WakingSignal&) = delete;
    WakingSignal& operator=(const WakingSignal&) = delete;

    void sendTo(const Thread& thread) { pthread_kill(thread.handle(), SIGUSR1); }

private:
    struct sigaction previous_ = {};
};

struct Sleep {
    const char* name;
    int (*sleep)(int);
    int microsecondsPerUnit;
};

const Sleep SLEEPS[] = {{"sleep", JSystem::sleep, 1000}, {"usleep", JSystem::usleep, 1}};

class JSystemSleepTest : public ::testing::TestWithParam<Sleep> {
protected:
    /** The number to sleep for so many milliseconds. */
    static int forMilliseconds(int ms) { return ms * 1000 / GetParam().microsecondsPerUnit; }
    static int sleep(int number) { return GetParam().sleep(number); }
};

}  // namespace

// ---- the clock ----

TEST(JSystemClockTest, GetMilliseconds_IsTheTimeOfDayInMilliseconds) {
    const long long before = timeOfDay();
    const long long now = JSystem::getMilliseconds();
    const long long after = timeOfDay();
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
}

TEST(JSystemClockTest, GetMilliseconds_NeedsMoreThan32Bits) {
    EXPECT_GT(JSystem::getMilliseconds(), 1LL << 32);
}

TEST(JSystemClockTest, GetMilliseconds_GoesOnAfterTheYear2038) {
#ifdef JAY_TIME_ENDS
    GTEST_SKIP() << "this system's time has 32 bits and ends in 2038";
#endif
    constexpr long long YEAR_2038 = 1LL << 31;  // seconds: what a signed 32-bit number cannot hold
    const support::WallClock ahead((YEAR_2038 + 1000) * 1000 - JSystem::getMilliseconds());
    EXPECT_GE(JSystem::getMilliseconds(), (YEAR_2038 + 998) * 1000);
    EXPECT_LT(JSystem::getMilliseconds(), (YEAR_2038 + 1000 + 600) * 1000);
}

// ---- sleeping ----

TEST(JSystemSleepUnitTest, Sleep_CountsMilliseconds) {
    const auto start = Clock::now();
    EXPECT_EQ(JSystem::sleep(1500), 0);
    EXPECT_GE(microsecondsSince(start), 1500000);
    EXPECT_LT(microsecondsSince(start), 100 * 1500000LL);
}

TEST(JSystemSleepUnitTest, Usleep_CountsMicroseconds) {
    const auto start = Clock::now();
    EXPECT_EQ(JSystem::usleep(1100000), 0);
    EXPECT_GE(microsecondsSince(start), 1100000);
    EXPECT_LT(microsecondsSince(start), 100 * 1100000LL);
}

TEST_P(JSystemSleepTest, ForZero_ReturnsAtOnce) {
    EXPECT_EQ(sleep(0), 0);
}

TEST_P(JSystemSleepTest, ForANegativeTime_FailsAtOnce) {
    for (const int number : {-1, -5, -1000, -1000000, -1000001, INT_MIN}) {
        errno = 0;
        EXPECT_EQ(sleep(number), -1) << number;
        EXPECT_EQ(errno, EINVAL) << number;
    }
}

TEST_P(JSystemSleepTest, EndsEarlyWhenASignalIsHandled) {
    WakingSignal signal;
    int result = 0;
    int error = 0;
    Thread sleeper([&] {
        result = sleep(forMilliseconds(600000));
        error = errno;
    });
    EXPECT_TRUE(sleeper.fallsAsleep());
    signal.sendTo(sleeper);
    sleeper.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
}

TEST_P(JSystemSleepTest, CanBeCancelled) {
    Thread sleeper([&] { sleep(forMilliseconds(600000)); });
    EXPECT_TRUE(sleeper.fallsAsleep());
    sleeper.cancel();
    EXPECT_TRUE(sleeper.join());
}

INSTANTIATE_TEST_SUITE_P(Both, JSystemSleepTest, ::testing::ValuesIn(SLEEPS),
                         [](const auto& each) { return std::string(each.param.name); });
