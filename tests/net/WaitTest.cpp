#include "net/detail/Wait.h"

#include <climits>
#include <gtest/gtest.h>

#include "net/detail/Descriptor.h"
#include "net/Peer.h"
#include "net/SystemCalls.h"
#include "net/Waiter.h"

using jay::detail::Descriptor;
using jay::detail::Readiness;
using jay::detail::SLICE_MS;
using jay::detail::waitFor;
using net::Calls;
using net::Fd;
using net::Stopwatch;

namespace {

class WaitTest : public testing::Test {
protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        number = ends[0];
        other = Fd(ends[1]);
        guard.attach(number);
        errno = ENOSPC;
    }
    Readiness waitToRead(long long ms, int slice = INT_MAX) {
        return waitFor(number, POLLIN, ms, slice, &guard);
    }
    void makeReadable() { ASSERT_EQ(write(other.number(), "x", 1), 1); }

    Descriptor guard;
    int number = -1;
    Fd other;
};

}  // namespace

TEST_F(WaitTest, Ready_LeavesErrnoAlone) {
    makeReadable();
    Calls::poll.fail(1, EINTR);
    EXPECT_EQ(waitToRead(30000), Readiness::READY);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(WaitTest, TimedOut_SetsErrno_AfterOneSliceAtLeast) {
    const Stopwatch watch;
    EXPECT_EQ(waitToRead(0), Readiness::TIMED_OUT);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.ms(), SLICE_MS - 1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST_F(WaitTest, OfAReader_IsOneWait) {
    const int before = Calls::poll.count;
    const Stopwatch watch;
    EXPECT_EQ(waitToRead(350), Readiness::TIMED_OUT);
    EXPECT_GE(watch.ms(), 349);
    EXPECT_EQ(Calls::poll.count, before + 1);
}

TEST_F(WaitTest, InSlices_LooksUpAfterEach) {
    const int before = Calls::poll.count;
    EXPECT_EQ(waitToRead(350, SLICE_MS), Readiness::TIMED_OUT);
    EXPECT_GE(Calls::poll.count - before, 2);  // a loaded machine may oversleep
    EXPECT_LE(Calls::poll.count - before, 5);
}

TEST_F(WaitTest, EndsWhenTheGuardIsClosed) {
    net::Waiter waiter(
        [this] { return static_cast<int>(waitFor(number, POLLPRI, 30000, SLICE_MS, &guard)); });
    ASSERT_TRUE(waiter.waits());
    const Descriptor::Use use(guard);
    guard.close();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, static_cast<int>(Readiness::FAILED));
}

TEST_F(WaitTest, EndsWhenTheGuardIsWoken) {
    net::Waiter waiter(
        [this] { return static_cast<int>(waitFor(number, POLLPRI, 30000, SLICE_MS, &guard)); });
    ASSERT_TRUE(waiter.waits());
    guard.wake();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, static_cast<int>(Readiness::TIMED_OUT));
    EXPECT_EQ(waiter.error, ETIMEDOUT);
}

TEST_F(WaitTest, OfAThreadInterruptedBefore_FailsAfterASlice_ButSeesWhatIsThere) {
    net::Waiter waiter([this] {
        JThread::interrupt();
        makeReadable();
        const bool ready = waitToRead(30000) == Readiness::READY;
        char c;
        EXPECT_EQ(read(number, &c, 1), 1);
        return static_cast<int>(ready && waitToRead(30000) == Readiness::FAILED);
    });
    const Stopwatch watch;
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST_F(WaitTest, ForNoDescriptor_FailsAtOnce) {
    EXPECT_EQ(waitFor(9999, POLLIN, 30000, INT_MAX, nullptr), Readiness::FAILED);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(WaitTest, WhoseCallFails_Fails) {
    Calls::poll.fail(1, ENOMEM);
    EXPECT_EQ(waitToRead(30000), Readiness::FAILED);
    EXPECT_EQ(errno, ENOMEM);
}
