#include "net/sys_socket.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <sys/un.h>

#include "net/Peer.h"
#include "net/SystemCalls.h"
#include "net/Waiter.h"
#include "support/WallClock.h"
#include "thread/JThread.h"

using net::Calls;
using net::Fd;
using net::isNonBlocking;
using net::Listener;
using net::Peer;
using net::Waiter;
using support::Thread;

namespace {

/** Two connected sockets and the sets to wait for the first of them. */
class SysSelectTest : public testing::Test {
protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        mine = Fd(ends[0]);
        other = Fd(ends[1]);
        FD_ZERO(&set);
        FD_SET(mine.number(), &set);
        errno = 0;
    }

    int waitToRead(int ms) {
        timeval timeout{ms / 1000, ms % 1000 * 1000};
        return sys_select(mine.number() + 1, &set, nullptr, nullptr, &timeout);
    }
    int waitToReadForEver() { return sys_select(mine.number() + 1, &set, nullptr, nullptr, nullptr); }
    void makeReadable() { ASSERT_EQ(write(other.number(), "x", 1), 1); }

    Fd mine;
    Fd other;
    fd_set set;
};

class SysConnectTest : public testing::Test {
protected:
    SysConnectTest() : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}

    int connectTo(int port, int ms = 10000) {
        sockaddr_in address = net::loopback(port);
        return sys_connect(socket.number(), reinterpret_cast<sockaddr*>(&address), sizeof address, ms);
    }

    Fd socket;
};

}  // namespace

// ---- sys_select ----

TEST_F(SysSelectTest, ReturnsTheNumberOfReadyDescriptorsAtOnce) {
    makeReadable();
    const net::Stopwatch watch;
    EXPECT_EQ(waitToRead(60000), 1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_TRUE(FD_ISSET(mine.number(), &set));
}

TEST_F(SysSelectTest, CountsOverAllSets) {
    makeReadable();
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(mine.number(), &writable);
    FD_SET(other.number(), &writable);
    FD_SET(other.number(), &set);  // nothing to read there
    fd_set except = set;
    timeval timeout{60, 0};
    EXPECT_EQ(sys_select(FD_SETSIZE, &set, &writable, &except, &timeout), 3);
    EXPECT_TRUE(FD_ISSET(mine.number(), &set));
    EXPECT_FALSE(FD_ISSET(other.number(), &set));
    EXPECT_TRUE(FD_ISSET(mine.number(), &writable));
    EXPECT_TRUE(FD_ISSET(other.number(), &writable));
    EXPECT_FALSE(FD_ISSET(mine.number(), &except));
}

TEST_F(SysSelectTest, SeesUrgentDataInTheExceptionSet) {
    Listener listener;
    Peer client = Peer::connectedTo(listener.port());
    Peer served = listener.accept();
    ASSERT_EQ(send(client.fd(), "!", 1, MSG_OOB), 1);
    fd_set except;
    FD_ZERO(&except);
    FD_SET(served.fd(), &except);
    timeval timeout{30, 0};
    EXPECT_EQ(sys_select(served.fd() + 1, nullptr, nullptr, &except, &timeout), 1);
    EXPECT_TRUE(FD_ISSET(served.fd(), &except));
}

TEST_F(SysSelectTest, WithoutActivity_ReturnsZeroWhenTheTimeIsOver) {
    const net::Stopwatch watch;
    EXPECT_EQ(waitToRead(250), 0);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.ms(), 249);
    EXPECT_LT(watch.ms(), 250 + net::LATE_MS);
    EXPECT_FALSE(FD_ISSET(mine.number(), &set));
}

TEST_F(SysSelectTest, WaitsInSlicesOfAHundredMilliseconds) {
    const int before = Calls::select.count;
    EXPECT_EQ(waitToRead(250), 0);
    EXPECT_GE(Calls::select.count - before, 2);  // a loaded machine may oversleep
    EXPECT_LE(Calls::select.count - before, 4);
}

TEST_F(SysSelectTest, KeepsItsTimeWhenTheClockIsSet) {
    std::unique_ptr<support::WallClock> clock;
    Waiter waiter([this] { return waitToRead(60000); });
    ASSERT_TRUE(waiter.waits());
    clock = std::make_unique<support::WallClock>(support::AN_HOUR_MS);
    const long sleeps = waiter.thread.sleeps();
    ASSERT_TRUE(support::eventually([&] { return waiter.thread.sleeps() >= sleeps + 2; }));
    makeReadable();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
}

TEST_F(SysSelectTest, EndsInTimeWhenTheClockIsSetBack) {
    Waiter waiter([this] { return waitToRead(1000); });
    ASSERT_TRUE(waiter.waits());
    const support::WallClock clock(-support::AN_HOUR_MS);
    const net::Stopwatch watch;
    waiter.thread.join();
    EXPECT_LT(watch.ms(), 1000 + net::LATE_MS);
    EXPECT_NE(waiter.result, 1);
}

TEST_F(SysSelectTest, WithoutTime_WaitsOneSlice) {
    const net::Stopwatch watch;
    EXPECT_EQ(waitToRead(0), 0);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.ms(), 99);
}

TEST_F(SysSelectTest, WithoutDescriptors_IsATimedWait) {
    timeval timeout{0, 1000};
    EXPECT_EQ(sys_select(0, nullptr, nullptr, nullptr, &timeout), 0);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(SysSelectTest, LeavesTheTimeoutAlone) {
    timeval timeout{0, 120000};
    sys_select(mine.number() + 1, &set, nullptr, nullptr, &timeout);
    EXPECT_EQ(timeout.tv_sec, 0);
    EXPECT_EQ(timeout.tv_usec, 120000);
}

TEST_F(SysSelectTest, RestoresTheSetsForEachSlice) {
    Waiter waiter([this] { return waitToRead(60000); });
    ASSERT_TRUE(
        support::eventually([&] { return waiter.thread.sleeps() >= 3; }));  // at least two slices are over
    makeReadable();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
    EXPECT_TRUE(FD_ISSET(mine.number(), &set));
}

TEST_F(SysSelectTest, WithoutATimeout_WaitsUntilSomethingIsReady) {
    Waiter waiter([this] { return waitToReadForEver(); });
    ASSERT_TRUE(waiter.waits());
    makeReadable();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
}

TEST_F(SysSelectTest, WithoutATimeout_GoesOnAfterASignal) {
    Waiter waiter([this] { return waitToReadForEver(); });
    ASSERT_TRUE(waiter.hangUpRepeatedly());
    makeReadable();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
    EXPECT_EQ(waiter.error, 0);
}

TEST_F(SysSelectTest, GoesOnAfterASignal_AndKeepsItsDeadline) {
    const net::Stopwatch watch;
    Waiter waiter([this] { return waitToRead(400); });
    ASSERT_TRUE(waiter.hangUpRepeatedly());
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 0);
    EXPECT_EQ(waiter.error, ETIMEDOUT);
    EXPECT_GE(watch.ms(), 399);
    EXPECT_LT(watch.ms(), 400 + net::LATE_MS);
}

TEST_F(SysSelectTest, EndsWhenItsThreadIsInterrupted) {
    Waiter waiter([this] { return waitToReadForEver(); });
    ASSERT_TRUE(waiter.waits());
    waiter.interrupt();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, -1);
    EXPECT_EQ(waiter.error, EINTR);
}

TEST_F(SysSelectTest, OfAThreadThatWasInterruptedBefore_EndsAfterASlice) {
    Waiter waiter([this] {
        JThread::interrupt();
        return waitToRead(60000);
    });
    const net::Stopwatch watch;
    waiter.thread.join();
    EXPECT_EQ(waiter.result, -1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST_F(SysSelectTest, OfAnInterruptedThread_StillTellsWhatIsReady) {
    makeReadable();
    Waiter waiter([this] {
        JThread::interrupt();
        return waitToRead(60000);
    });
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
}

TEST_F(SysSelectTest, OfABadDescriptor_Fails) {
    close(mine.number());
    EXPECT_EQ(waitToRead(60000), -1);
    EXPECT_EQ(errno, EBADF);
    mine.release();
}

TEST_F(SysSelectTest, TakesEagainForASignal) {
    makeReadable();
    Calls::select.fail(1, EAGAIN);
    EXPECT_EQ(waitToRead(60000), 1);
    EXPECT_TRUE(FD_ISSET(mine.number(), &set));
}

TEST_F(SysSelectTest, WhenReady_LeavesErrnoAsItWas) {
    makeReadable();
    errno = ENOSPC;
    Calls::select.fail(1, EINTR);
    EXPECT_EQ(waitToRead(60000), 1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(SysSelectTest, OfMoreDescriptorsThanASetHolds_FailsWithoutTouchingAnything) {
    timeval timeout{60, 0};
    const fd_set before = set;
    EXPECT_EQ(sys_select(FD_SETSIZE + 1, &set, nullptr, nullptr, &timeout), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(std::memcmp(&set, &before, sizeof set), 0);
}

TEST_F(SysSelectTest, Cancelled_LeavesNothingBehind) {
    const int before = net::openDescriptors();
    Thread waiter([this] { waitToReadForEver(); });
    ASSERT_TRUE(waiter.fallsAsleep());
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    EXPECT_EQ(net::openDescriptors(), before);
    makeReadable();
    EXPECT_EQ(waitToRead(60000), 1);
}

// ---- sys_connect ----

TEST_F(SysConnectTest, ReturnsZeroAndABlockingDescriptor) {
    Listener listener;
    EXPECT_EQ(connectTo(listener.port()), 0);
    EXPECT_FALSE(isNonBlocking(socket.number()));
    Peer served = listener.accept();
    served.send("x");
    char c = 0;
    EXPECT_EQ(recv(socket.number(), &c, 1, 0), 1);
}

TEST_F(SysConnectTest, ThatSucceedsAtOnce_ReturnsABlockingDescriptor) {
    socket = Fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connectTo(net::freePort()), 0);
    EXPECT_FALSE(isNonBlocking(socket.number()));
}

TEST_F(SysConnectTest, ThatIsRefused_FailsWithoutTheErrorInErrno) {
    EXPECT_EQ(connectTo(net::freePort()), -1);
    EXPECT_NE(errno, ECONNREFUSED);
    EXPECT_NE(errno, ETIMEDOUT);
    EXPECT_NE(errno, EISCONN);
    EXPECT_TRUE(isNonBlocking(socket.number()));
}

TEST_F(SysConnectTest, OfAConnectedSocket_FailsAtOnce) {
    Listener listener;
    ASSERT_EQ(connectTo(listener.port()), 0);
    shutdown(socket.number(), SHUT_WR);
    EXPECT_EQ(connectTo(listener.port()), -1);
    EXPECT_EQ(errno, EISCONN);
    EXPECT_TRUE(isNonBlocking(socket.number()));
}

TEST_F(SysConnectTest, OfABadDescriptor_Fails) {
    socket.close();
    EXPECT_EQ(connectTo(1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SysConnectTest, WithoutAnAnswer_TimesOut) {
    const net::SilentPort silent;
    const net::Stopwatch watch;
    EXPECT_EQ(connectTo(silent.port(), 250), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.ms(), 249);
    EXPECT_LT(watch.ms(), 250 + net::LATE_MS);
    EXPECT_TRUE(isNonBlocking(socket.number()));
}

TEST_F(SysConnectTest, WithoutTime_WaitsOneSlice) {
    const net::SilentPort silent;
    const net::Stopwatch watch;
    EXPECT_EQ(connectTo(silent.port(), 0), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.ms(), 99);
}

TEST_F(SysConnectTest, GoesOnAfterASignal) {
    const net::SilentPort silent;
    const net::Stopwatch watch;
    Waiter waiter([&] { return connectTo(silent.port(), 400); });
    ASSERT_TRUE(waiter.hangUpRepeatedly());
    waiter.thread.join();
    EXPECT_EQ(waiter.result, -1);
    EXPECT_EQ(waiter.error, ETIMEDOUT);
    EXPECT_GE(watch.ms(), 399);
}

TEST_F(SysConnectTest, EndsWhenItsThreadIsInterrupted) {
    const net::SilentPort silent;
    const net::Stopwatch watch;
    Waiter waiter([&] { return connectTo(silent.port(), 60000); });
    ASSERT_TRUE(waiter.waits());
    waiter.interrupt();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, -1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST_F(SysConnectTest, TakesDescriptorsBeyondWhatASetHolds) {
    const net::HighNumbers high;
    Listener listener;
    socket = Fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_GE(socket.number(), FD_SETSIZE);
    EXPECT_EQ(connectTo(listener.port()), 0);
    EXPECT_FALSE(isNonBlocking(socket.number()));
}

TEST_F(SysConnectTest, Cancelled_LeavesNothingBehind) {
    const net::SilentPort silent;
    const int before = net::openDescriptors();
    Thread waiter([&] { connectTo(silent.port(), 60000); });
    ASSERT_TRUE(waiter.fallsAsleep());
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    EXPECT_EQ(net::openDescriptors(), before);
}
