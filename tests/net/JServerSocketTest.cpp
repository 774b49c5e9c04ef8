#include "net/JServerSocket.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>

#include "net/Peer.h"
#include "net/SystemCalls.h"
#include "net/Waiter.h"
#include "support/JSocketPeer.h"
#include "system/JSystem.h"

using Inside = jay::detail::JSocketPeer;
using net::Calls;
using net::Fd;
using net::isOpen;
using net::LOOPBACK;
using net::Peer;
using net::Stopwatch;
using support::Thread;

namespace {

constexpr long long SECOND = 999;  // a wait may end within the millisecond before

/** A server on a port of its own. */
class ListeningServerSocketTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.isInit());
        ASSERT_EQ(server.getError(), 0);
        errno = 0;
    }

    std::unique_ptr<JSocket> accept() { return std::unique_ptr<JSocket>(server.accept()); }
    Peer client() { return Peer::connectedTo(server.getLocalPort()); }

    JServerSocket server{net::freePort()};
};

/** A server whose port was taken. */
class FailedServerTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(server->isInit());
        number = Inside::number(*server);
        ASSERT_GE(number, 0);
        ASSERT_FALSE(isOpen(number));
    }
    /** Another file gets the number that the failed server had. */
    void reuseTheNumber() {
        reused = Fd(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, number));
        ASSERT_EQ(reused.number(), number);
    }

    net::Listener owner;
    net::Listener other;
    std::unique_ptr<JServerSocket> server = std::make_unique<JServerSocket>(owner.port());
    int number = -1;
    Fd reused;
};

/** A thread in accept(). The connection lasts as long as this: one closed at once could be reset before the peer's
 * connect() returns. */
struct Acceptor {
    explicit Acceptor(JServerSocket& server, int before = 0)
        : waiter([this, &server, before] {
              errno = before;
              accepted.reset(server.accept());
              return accepted != nullptr ? accepted->getPort() : 0;
          }) {}

    /** Waits until a quiet second is over and the next one has begun. */
    bool waitsAgain() {
        return support::eventually(
            [this] { return waiter.thread.sleeps() >= 2 && waiter.thread.isAsleep(); });
    }
    /** The port of the connection that it got, 0 if none. */
    int port() {
        waiter.thread.join();
        return waiter.result;
    }

    std::unique_ptr<JSocket> accepted;
    net::Waiter waiter;
};

}  // namespace

// ---- construction ----

TEST_F(ListeningServerSocketTest, IsNew_ListeningOnItsPort) {
    EXPECT_EQ(server.getLocalPort(), net::portOf(Inside::number(server)));
    EXPECT_EQ(net::option(Inside::number(server), SOL_SOCKET, SO_ACCEPTCONN), 1);
    EXPECT_GT(net::option(Inside::number(server), SOL_SOCKET, SO_REUSEADDR), 0);
    EXPECT_EQ(Inside::acceptWait(server), 1);
    EXPECT_EQ(Inside::NAME_SIZE, 256U);
    EXPECT_EQ(Inside::name(server), "*:" + std::to_string(server.getLocalPort()));
    EXPECT_TRUE(net::isClosedOnExec(Inside::number(server)));
    EXPECT_TRUE(net::isNonBlocking(Inside::number(server)))
        << "a connection that is gone before accept() must not block it";
}

TEST_F(ListeningServerSocketTest, HasTheRootsClassRecord) {
    EXPECT_EQ(server.getClass(), &JObject::classJObject);
}

TEST(JServerSocketTest, ListensWithABacklogOfTen) {
    const JServerSocket server(net::freePort());
    EXPECT_EQ(Calls::lastBacklog, 10);
}

TEST_F(ListeningServerSocketTest, ListensOnEveryLocalAddress) {
    const Fd client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = net::loopback(server.getLocalPort());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1);
    EXPECT_EQ(connect(client.number(), net::raw(address), sizeof address), 0);
    const auto accepted = accept();
    ASSERT_NE(accepted, nullptr);
    EXPECT_STREQ(accepted->getHost(), LOOPBACK);
}

TEST_F(ListeningServerSocketTest, ASecondOne_OnTheSamePort_IsNotInit) {
    JServerSocket second(server.getLocalPort());
    EXPECT_FALSE(second.isInit());
    EXPECT_EQ(second.getError(), EADDRINUSE);
    EXPECT_EQ(second.getLocalPort(), server.getLocalPort());
    Peer peer = client();
    EXPECT_NE(accept(), nullptr);
}

TEST(JServerSocketTest, TakesAPortAgain_WhileFormerConnectionsLinger) {
    const int port = net::freePort();
    auto server = std::make_unique<JServerSocket>(port);
    Peer peer = Peer::connectedTo(port);
    {
        const std::unique_ptr<JSocket> accepted(server->accept());
        ASSERT_NE(accepted, nullptr);
        accepted->setSoLinger(true, 5);  // closed in order, and first: this end keeps the port for a while
    }
    peer.expectEnd();
    peer.close();
    server = std::make_unique<JServerSocket>(port);  // beside the former one
    EXPECT_FALSE(server->isInit());
    server = std::make_unique<JServerSocket>(port);
    EXPECT_TRUE(server->isInit());
}

TEST(JServerSocketTest, WithoutADescriptor_CountsAsInitAndAcceptsNothing) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the undefined-behaviour sanitizer, which comes with this build, needs a descriptor to "
                    "look at a class";
#endif
    const int port = net::freePort();
    std::unique_ptr<JServerSocket> server;
    {
        const net::FullTable full;
        server = std::make_unique<JServerSocket>(port);
    }
    EXPECT_TRUE(server->isInit());
    EXPECT_EQ(server->getError(), EMFILE);
    EXPECT_EQ(Inside::number(*server), -1);
    EXPECT_EQ(server->accept(), nullptr);
    server->close();
}

TEST(JServerSocketTest, ThatCannotListen_CountsAsInitAndKeepsTheClosedNumber) {
    const int port = net::freePort();
    Calls::listen.fail(1, EADDRINUSE);
    JServerSocket server(port);
    EXPECT_TRUE(server.isInit());
    EXPECT_EQ(server.getError(), EADDRINUSE);
    EXPECT_GE(Inside::number(server), 0);
    EXPECT_FALSE(isOpen(Inside::number(server)));
    EXPECT_EQ(server.accept(), nullptr);
}

TEST_F(ListeningServerSocketTest, SoTimeout_IsInert) {
    server.setSoTimeout(5000);
    EXPECT_EQ(server.getSoTimeout(), 0);
    EXPECT_EQ(Inside::acceptWait(server), 1);
}

TEST_F(ListeningServerSocketTest, GetInetAddress_IsEveryAddress) {
    EXPECT_STREQ(server.getInetAddress().getHostAddress(), "0.0.0.0");
}

// ---- a failed one's number belongs to somebody else ----

TEST_F(FailedServerTest, Accept_IsNullAtOnce) {
    const Stopwatch watch;
    EXPECT_EQ(server->accept(), nullptr);
    EXPECT_EQ(errno, EBADF);
    EXPECT_LT(watch.ms(), SECOND);
}

TEST_F(FailedServerTest, Close_LeavesWhatHasTheNumberNowAlone) {
    reuseTheNumber();
    server->close();
    EXPECT_EQ(Inside::number(*server), -1);
    EXPECT_TRUE(isOpen(number));
}

TEST_F(FailedServerTest, TheEnd_LeavesWhatHasTheNumberNowAlone) {
    reuseTheNumber();
    server.reset();
    EXPECT_TRUE(isOpen(number));
}

TEST_F(FailedServerTest, Accept_DoesNotTakeFromWhatHasTheNumberNow) {
    const Fd there(fcntl(other.fd(), F_DUPFD_CLOEXEC, number));
    ASSERT_EQ(there.number(), number);
    Peer peer = Peer::connectedTo(other.port());
    EXPECT_EQ(server->accept(), nullptr);
    EXPECT_STREQ(server->getInetAddress().getHostAddress(), "0.0.0.0");
    peer.expectNothing();
}

// ---- accept ----

TEST_F(ListeningServerSocketTest, Accept_HandsOutAConnectedSocket) {
    Peer peer = client();
    const auto accepted = accept();
    ASSERT_NE(accepted, nullptr);
    EXPECT_TRUE(accepted->isConnected());
    EXPECT_STREQ(accepted->getHost(), LOOPBACK);
    EXPECT_EQ(accepted->getPort(), peer.port());
    EXPECT_TRUE(net::isNonBlocking(Inside::number(*accepted)));
    EXPECT_TRUE(net::isClosedOnExec(Inside::number(*accepted)));
    peer.send("x");
    EXPECT_EQ(accepted->getInputStream()->read(), 'x');
}

TEST_F(ListeningServerSocketTest, Accept_SwitchesKeepAliveOff) {
    const int on = 1;
    setsockopt(Inside::number(server), SOL_SOCKET, SO_KEEPALIVE, &on,
               sizeof on);  // which connections inherit
    Peer peer = client();
    const auto accepted = accept();
    ASSERT_NE(accepted, nullptr);
    EXPECT_FALSE(accepted->getKeepAlive());
}

TEST_F(ListeningServerSocketTest, Accept_TakesConnectionsInTheirOrder) {
    std::vector<Peer> peers;
    for (int i = 0; i < 5; i++) peers.push_back(client());
    for (const Peer& peer : peers) {
        const auto accepted = accept();
        ASSERT_NE(accepted, nullptr);
        EXPECT_EQ(accepted->getPort(), peer.port());
    }
}

TEST_F(ListeningServerSocketTest, Accept_WaitsForAClient) {
    Acceptor acceptor(server);
    ASSERT_TRUE(acceptor.waiter.waits());
    Peer peer = client();
    EXPECT_EQ(acceptor.port(), peer.port());
}

TEST_F(ListeningServerSocketTest, Accept_WithoutAClient_IsNullAfterASecond) {
    const Stopwatch watch;
    EXPECT_EQ(accept(), nullptr);
    EXPECT_EQ(errno, 0);
    EXPECT_GE(watch.ms(), SECOND);
    EXPECT_LT(watch.ms(), SECOND + net::LATE_MS);
}

TEST_F(ListeningServerSocketTest, Accept_WithoutAClient_IsNullWhateverOtherErrorStands) {
    errno = ENOENT;
    EXPECT_EQ(accept(), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ListeningServerSocketTest, Accept_WithEagainStandingInErrno_WaitsOn) {
    Acceptor acceptor(server, EAGAIN);
    ASSERT_TRUE(acceptor.waitsAgain());
    Peer peer = client();
    EXPECT_EQ(acceptor.port(), peer.port());
}

TEST_F(ListeningServerSocketTest, Accept_WithEintrStandingInErrno_WaitsOn) {
    Acceptor acceptor(server, EINTR);
    ASSERT_TRUE(acceptor.waitsAgain());
    Peer peer = client();
    EXPECT_EQ(acceptor.port(), peer.port());
}

TEST_F(ListeningServerSocketTest, Accept_GoesOnAfterASignal) {
    Acceptor acceptor(server);
    ASSERT_TRUE(acceptor.waiter.hangUpRepeatedly());
    Peer peer = client();
    EXPECT_EQ(acceptor.port(), peer.port());
}

TEST_F(ListeningServerSocketTest, Accept_OfAConnectionThatHasGone_WaitsOnAndForgetsIt) {
    Peer peer = client();
    Calls::accept4.fail(1, EAGAIN);
    const auto accepted = accept();
    ASSERT_NE(accepted, nullptr);
    EXPECT_EQ(accepted->getPort(), peer.port());
    peer = client();
    Calls::accept4.fail(1, EAGAIN);
    const net::AsWaitsBegin event([this] {
        if (Calls::accept4.failures == 0)
            ::accept(Inside::number(server), nullptr, nullptr);  // somebody takes it away
    });
    EXPECT_EQ(accept(), nullptr);
    EXPECT_EQ(errno, 0);
}

TEST_F(ListeningServerSocketTest, Accept_ThatFails_IsNull) {
    Peer peer = client();
    Calls::accept4.fail(1, ECONNABORTED);
    EXPECT_EQ(accept(), nullptr);
    EXPECT_EQ(errno, ECONNABORTED);
    EXPECT_NE(accept(), nullptr);
}

TEST_F(ListeningServerSocketTest, Accept_WithoutADescriptor_IsNullAndLosesNoConnection) {
    Peer peer = client();
    {
        const net::FullTable full;
        EXPECT_EQ(server.accept(), nullptr);
        EXPECT_EQ(errno, EMFILE);
    }
    EXPECT_NE(accept(), nullptr);
}

TEST_F(ListeningServerSocketTest, Accept_OfAConnectionThatWasReset_HandsOutASocketThatFails) {
    Peer peer = client();
    const int port = peer.port();
    peer.reset();
    const auto accepted = accept();
    ASSERT_NE(accepted, nullptr);
    EXPECT_TRUE(accepted->isConnected());
    EXPECT_STREQ(accepted->getHost(), LOOPBACK);
    EXPECT_EQ(accepted->getPort(), port);
    EXPECT_STREQ(accepted->getInetAddress().getHostAddress(), LOOPBACK);
    EXPECT_LT(accepted->getInputStream()->read(), 0);
    EXPECT_FALSE(accepted->isConnected());
}

TEST(JServerSocketTest, Accept_WithDescriptorsBeyondWhatASetHolds) {
    const net::HighNumbers high;
    JServerSocket server(net::freePort());
    ASSERT_GE(Inside::number(server), FD_SETSIZE);
    Peer peer = Peer::connectedTo(server.getLocalPort());
    const std::unique_ptr<JSocket> accepted(server.accept());
    ASSERT_NE(accepted, nullptr);
    peer.send("x");
    EXPECT_EQ(accepted->getInputStream()->read(), 'x');
    errno = 0;
    EXPECT_EQ(server.accept(), nullptr);
}

TEST_F(ListeningServerSocketTest, Accept_Cancelled_LeavesNothingHeld) {
    const int number = Inside::number(server);
    Thread acceptor([this] { delete server.accept(); });
    ASSERT_TRUE(acceptor.fallsAsleep());
    acceptor.cancel();
    EXPECT_TRUE(acceptor.join());
    server.close();
    EXPECT_FALSE(isOpen(number));
}

TEST_F(ListeningServerSocketTest, Accept_CancelledWhileItTakesAConnection_HandsItOut) {
    Peer peer = client();
    std::unique_ptr<JSocket> accepted;
    Thread acceptor([&] {
        Calls::cancelledInAccept = true;
        accepted.reset(server.accept());
    });
    acceptor.join();
    ASSERT_NE(accepted, nullptr);
    EXPECT_EQ(accepted->getPort(), peer.port());
}

TEST_F(ListeningServerSocketTest, Accept_CancelledAsAClientComes_LosesNoDescriptor) {
    const int before = net::openDescriptors();
    for (int round = 0; round < 100; round++) {
        std::unique_ptr<JSocket> accepted;
        Thread acceptor([&] { accepted.reset(server.accept()); });
        if (round % 2 == 0) {  // otherwise everything meets at any point
            ASSERT_TRUE(acceptor.fallsAsleep());
        }
        Peer peer = client();
        acceptor.cancel();
        acceptor.join();
        const timeval none{0, 0};
        fd_set set;
        FD_ZERO(&set);
        FD_SET(Inside::number(server), &set);
        timeval now = none;
        if (select(Inside::number(server) + 1, &set, nullptr, nullptr, &now) > 0) delete server.accept();
    }
    EXPECT_EQ(net::openDescriptors(), before);
}

// ---- close ----

TEST_F(ListeningServerSocketTest, Close_StopsListening) {
    const int number = Inside::number(server);
    server.close();
    EXPECT_EQ(Inside::number(server), -1);
    EXPECT_FALSE(isOpen(number));
    EXPECT_EQ(server.getError(), EBADF);
    EXPECT_TRUE(server.isInit());
    EXPECT_STREQ(server.getInetAddress().getHostAddress(), "0.0.0.0");
    const Fd client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = net::loopback(server.getLocalPort());
    EXPECT_EQ(connect(client.number(), net::raw(address), sizeof address), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(ListeningServerSocketTest, Close_Twice_DoesNothingTheSecondTime) {
    const int number = Inside::number(server);
    server.close();
    const Fd other(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, number));
    ASSERT_EQ(other.number(), number);
    server.close();
    EXPECT_TRUE(isOpen(number));
}

TEST_F(ListeningServerSocketTest, Close_SwitchesLingeringToZero) {
    const Fd same(fcntl(Inside::number(server), F_DUPFD_CLOEXEC, 0));
    server.close();
    linger value{};
    socklen_t size = sizeof value;
    ASSERT_EQ(getsockopt(same.number(), SOL_SOCKET, SO_LINGER, &value, &size), 0);
    EXPECT_EQ(value.l_onoff, 1);
    EXPECT_EQ(value.l_linger, 0);
}

TEST_F(ListeningServerSocketTest, Close_LeavesALingerTimeAsItIs) {
    const Fd same(fcntl(Inside::number(server), F_DUPFD_CLOEXEC, 0));
    linger value{1, 7};
    socklen_t size = sizeof value;
    setsockopt(same.number(), SOL_SOCKET, SO_LINGER, &value, size);
    server.close();
    value = {};
    ASSERT_EQ(getsockopt(same.number(), SOL_SOCKET, SO_LINGER, &value, &size), 0);
    EXPECT_EQ(value.l_linger, 7);
}

TEST_F(ListeningServerSocketTest, Accept_AfterClose_IsNullAtOnce) {
    server.close();
    const Stopwatch watch;
    EXPECT_EQ(accept(), nullptr);
    EXPECT_EQ(errno, EBADF);
    EXPECT_LT(watch.ms(), SECOND);
}

TEST_F(ListeningServerSocketTest, Close_UnderAccept_EndsItAtOnce) {
    const int number = Inside::number(server);
    Acceptor acceptor(server);
    ASSERT_TRUE(acceptor.waiter.waits());
    server.close();
    EXPECT_EQ(acceptor.port(), 0);
    EXPECT_FALSE(isOpen(number));
}

TEST_F(ListeningServerSocketTest, Close_UnderAnAcceptThatWouldWaitForEver_EndsItAtOnce) {
    for (const int standing : {EAGAIN, EINTR}) {
        JServerSocket another(net::freePort());
        Acceptor acceptor(another, standing);
        ASSERT_TRUE(acceptor.waiter.waits());
        const Stopwatch watch;
        another.close();
        EXPECT_EQ(acceptor.port(), 0);
        EXPECT_LT(watch.ms(), net::LATE_MS);
    }
}

TEST_F(ListeningServerSocketTest, Close_UnderAccept_NeverLetsItAcceptFromWhatGetsTheNumberNext) {
    for (int round = 0; round < 50; round++) {
        JServerSocket another(net::freePort());
        const int number = Inside::number(another);
        const net::Listener other;
        Peer peer = Peer::connectedTo(other.port());
        Acceptor acceptor(another);
        if (round % 2 == 0) {  // otherwise accept and close meet at any point
            ASSERT_TRUE(acceptor.waiter.waits());
        }
        another.close();
        Fd reused;  // gets the number as soon as it is free
        ASSERT_TRUE(support::eventually([&] {
            reused = Fd(fcntl(other.fd(), F_DUPFD_CLOEXEC, number));
            return reused.number() == number;
        }));
        EXPECT_EQ(acceptor.port(), 0);
        peer.expectNothing();
    }
}

TEST(JServerSocketTest, TheEnd_ClosesIt) {
    auto server = std::make_unique<JServerSocket>(net::freePort());
    const int number = Inside::number(*server);
    server.reset();
    EXPECT_FALSE(isOpen(number));
}

TEST_F(ListeningServerSocketTest, Close_ResetsConnectionsThatNobodyAccepted) {
    Peer peer = client();
    server.close();
    peer.expectReset();
}
