#include "net/JSocket.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <netinet/tcp.h>

#include "net/Connection.h"
#include "net/SystemCalls.h"
#include "net/Waiter.h"

using net::Fd;
using net::Inside;
using net::isOpen;
using net::Listener;
using net::LOOPBACK;
using net::Peer;
using net::Waiter;
using support::Thread;

namespace {

class ConnectedSocketTest : public net::ConnectionTest {};

/** A thread whose call waits, and which counts its waits. */
class PatientWaiter {
public:
    explicit PatientWaiter(const std::function<int()>& call)
        : waiter_([this, call] {
              const net::AsWaitsBegin event([this] { waits_++; });
              return call();
          }) {}
    bool waitsForLong() const {
        return support::eventually([this] { return waits_ >= 2; });
    }
    int join() {
        waiter_.thread.join();
        return waiter_.result;
    }

private:
    std::atomic<int> waits_{0};
    Waiter waiter_;
};

std::string dotted(JInetAddress address) {
    return static_cast<const char*>(address.getHostAddress());
}

/** Reads one byte of a socket. */
int readOne(JSocket& socket) {
    JByte b(1);
    return socket.getInputStream()->read(b);
}

/** What a connection carries in both directions proves that it stands. */
void expectToTalk(JSocket& socket, Peer& peer) {
    JByte sent = net::bytes("ping");
    EXPECT_EQ(socket.getOutputStream()->write(sent), 0);
    peer.expect("ping");
    peer.send("pong");
    JByte received(4);
    EXPECT_EQ(socket.getInputStream()->read(received), 4);
    EXPECT_EQ(net::text(received, 0, 4), "pong");
}

}  // namespace

// ---- construction ----

TEST(JSocketTest, IsNew_NotConnectedAndShutDown) {
    JSocket socket("some.host", 4711);
    EXPECT_EQ(Inside::number(socket), -1);
    EXPECT_STREQ(socket.getHost(), "some.host");
    EXPECT_EQ(socket.getPort(), 4711);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_TRUE(Inside::inputShutdown(socket));
    EXPECT_TRUE(Inside::outputShutdown(socket));
    EXPECT_EQ(Inside::connectTimeout(socket), 10);
    EXPECT_EQ(Inside::readTimeout(socket), 60);
    EXPECT_EQ(Inside::writeTimeout(socket), 10);
    EXPECT_FALSE(socket.isConnectTimeout());
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isWriteTimeout());
    EXPECT_STREQ(Inside::hostAddress(socket), "");
    EXPECT_STREQ(Inside::message(socket), "");
    EXPECT_FALSE(Inside::hasStreams(socket));
}

TEST(JSocketTest, HasTheRootsClassRecord) {
    JSocket socket("some.host", 1);
    EXPECT_EQ(socket.getClass(), &JObject::classJObject);
}

TEST(JSocketTest, HasRoomForAHostAnAddressAndAMessage) {
    EXPECT_EQ(Inside::HOST_SIZE, 256U);
    EXPECT_EQ(Inside::HOST_ADDRESS_SIZE, 32U);
    EXPECT_EQ(Inside::MESSAGE_SIZE, 2048U);
}

TEST(JSocketTest, CutsAHostNameThatIsTooLong) {
    JSocket socket(std::string(5000, 'h').c_str(), 1);
    EXPECT_EQ(socket.getHost(), std::string(255, 'h'));
    socket.setHost(std::string(256, 'i').c_str());
    EXPECT_EQ(socket.getHost(), std::string(255, 'i'));
    EXPECT_EQ(socket.getPort(), 1);
}

TEST(JSocketTest, TakesNoHostForAnEmptyOne) {
    JSocket socket(nullptr, 1);
    EXPECT_STREQ(socket.getHost(), "");
    socket.setHost("some.host");
    socket.setHost(nullptr);
    EXPECT_STREQ(socket.getHost(), "");
}

TEST(JSocketTest, SetHost_AndSetPort_Store) {
    JSocket socket("some.host", 1);
    socket.setHost("another");
    socket.setPort(2);
    EXPECT_STREQ(socket.getHost(), "another");
    EXPECT_EQ(socket.getPort(), 2);
    socket.setHost(socket.getHost());
    EXPECT_STREQ(socket.getHost(), "another");
    socket.setHost(socket.getHost() + 3);
    EXPECT_STREQ(socket.getHost(), "ther");
}

TEST(JSocketTest, SoTimeout_IsInert) {
    JSocket socket("some.host", 1);
    socket.setSoTimeout(5000);
    EXPECT_EQ(socket.getSoTimeout(), 0);
    EXPECT_EQ(Inside::connectTimeout(socket), 10);
    EXPECT_EQ(Inside::readTimeout(socket), 60);
    EXPECT_EQ(Inside::writeTimeout(socket), 10);
}

TEST(JSocketTest, MakesEachStreamOnce) {
    JSocket socket("some.host", 1);
    JSocket::JSocketInputStream* const in = socket.getInputStream();
    JSocket::JSocketOutputStream* const out = socket.getOutputStream();
    EXPECT_EQ(Inside::owner(*in), &socket);
    EXPECT_EQ(Inside::owner(*out), &socket);
    EXPECT_EQ(socket.getInputStream(), in);
    EXPECT_EQ(socket.getOutputStream(), out);
}

TEST(JSocketTest, WrapsAnAcceptedDescriptor) {
    Listener listener;
    Peer client = Peer::connectedTo(listener.port());
    Peer served = listener.accept();
    const int number = served.release();
    JSocket socket(number);
    EXPECT_EQ(Inside::number(socket), number);
    EXPECT_STREQ(socket.getHost(), LOOPBACK);
    EXPECT_STREQ(Inside::hostAddress(socket), LOOPBACK);
    EXPECT_EQ(socket.getPort(), client.port());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_FALSE(Inside::inputShutdown(socket));
    EXPECT_FALSE(Inside::outputShutdown(socket));
    EXPECT_EQ(Inside::connectTimeout(socket), 10);
    EXPECT_EQ(Inside::readTimeout(socket), 60);
    EXPECT_EQ(Inside::writeTimeout(socket), 10);
    EXPECT_TRUE(net::isNonBlocking(number));
    expectToTalk(socket, client);
}

TEST(JSocketTest, WrapsASocketWithoutPeer_AndCountsAsConnected) {
    const int number = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    JSocket socket(number);
    EXPECT_STREQ(socket.getHost(), "invalid_socket");
    EXPECT_STREQ(Inside::hostAddress(socket), "0.0.0.0");
    EXPECT_EQ(socket.getPort(), -1);
    EXPECT_TRUE(socket.isConnected());
    EXPECT_FALSE(net::isNonBlocking(number));
    EXPECT_EQ(readOne(socket), -1);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_FALSE(isOpen(number));
}

TEST(JSocketTest, WrapsADescriptorThatIsNoSocket_AndFailsAtTheFirstRead) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Fd other(ends[1]);
    JSocket socket(ends[0]);
    EXPECT_STREQ(socket.getHost(), "invalid_socket");
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(readOne(socket), -1);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_FALSE(isOpen(ends[0]));
}

TEST(JSocketTest, WrapsNoDescriptor_AndFailsAtTheFirstRead) {
    JSocket socket(-1);
    EXPECT_STREQ(socket.getHost(), "invalid_socket");
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(readOne(socket), -1);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(socket.close(), 1);
}

TEST(JSocketTest, WrapsNoDescriptor_AndFailsAtTheFirstWrite) {
    JSocket socket(-1);
    JByte b = net::bytes("x");
    EXPECT_EQ(socket.getOutputStream()->write(b), -1);
    EXPECT_FALSE(socket.isConnected());
}

// ---- connect ----

TEST(JSocketTest, Connect_ToAnAddress) {
    Listener listener;
    JSocket socket(LOOPBACK, listener.port());
    EXPECT_TRUE(socket.connect());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_FALSE(Inside::inputShutdown(socket));
    EXPECT_FALSE(Inside::outputShutdown(socket));
    EXPECT_FALSE(socket.isConnectTimeout());
    EXPECT_STREQ(Inside::hostAddress(socket), LOOPBACK);
    EXPECT_TRUE(net::isNonBlocking(Inside::number(socket)));
    EXPECT_TRUE(net::isClosedOnExec(Inside::number(socket)));
    Peer peer = listener.accept();
    expectToTalk(socket, peer);
}

TEST(JSocketTest, Connect_ToAName) {
    Listener listener;
    JSocket socket("localhost", listener.port());
    EXPECT_TRUE(socket.connect());
    EXPECT_STREQ(socket.getHost(), "localhost");
    EXPECT_STREQ(Inside::hostAddress(socket), LOOPBACK);
}

TEST(JSocketTest, Connect_KeepsADottedAddressAsItWasWritten) {
    Listener listener;
    JSocket socket("127.1", listener.port());
    EXPECT_TRUE(socket.connect());
    EXPECT_STREQ(Inside::hostAddress(socket), "127.1");
    EXPECT_EQ(dotted(socket.getInetAddress()), LOOPBACK);
}

TEST(JSocketTest, Connect_ToADottedAddressTooLongForItsField_WritesItAnew) {
    Listener listener;
    const std::string longForm = "0x" + std::string(40, '0') + "7f000001";
    JSocket socket(longForm.c_str(), listener.port());
    EXPECT_TRUE(socket.connect());
    EXPECT_STREQ(Inside::hostAddress(socket), LOOPBACK);
}

TEST(JSocketTest, Connect_ToADottedAddressThatJustFitsItsField_KeepsIt_AndOneByteMoreIsWrittenAnew) {
    Listener listener;
    const std::string address = "0x" + std::string(21, '0') + "7f000001";
    ASSERT_EQ(address.size(), 31U);
    JSocket fits(address.c_str(), listener.port());
    EXPECT_TRUE(fits.connect());
    EXPECT_STREQ(Inside::hostAddress(fits), address.c_str());
    JSocket longer((address.substr(0, 2) + "0" + address.substr(2)).c_str(), listener.port());
    EXPECT_TRUE(longer.connect());
    EXPECT_STREQ(Inside::hostAddress(longer), LOOPBACK);
    EXPECT_TRUE(longer.isConnected());
}

TEST(JSocketTest, Connect_ToAnUnknownHost_Fails) {
    JSocket socket(std::string(64, 'a').c_str(), 1);  // a label has 63 characters at most
    EXPECT_FALSE(socket.connect());
    EXPECT_STREQ(Inside::message(socket), "unknown host!");
    EXPECT_FALSE(socket.isConnected());
    EXPECT_FALSE(socket.isConnectTimeout());
    EXPECT_TRUE(isOpen(Inside::number(socket)));
}

TEST(JSocketTest, Connect_AfterAFailure_UsesTheDescriptorThatIsLeft) {
    Listener listener;
    JSocket socket(std::string(64, 'a').c_str(), listener.port());
    ASSERT_FALSE(socket.connect());
    const int number = Inside::number(socket);
    socket.setHost(LOOPBACK);
    EXPECT_TRUE(socket.connect());
    EXPECT_EQ(Inside::number(socket), number);
}

TEST(JSocketTest, Connect_WithoutADescriptor_Fails) {
    Listener listener;
    JSocket socket(LOOPBACK, listener.port());
    {
        const net::FullTable full;
        EXPECT_FALSE(socket.connect());
    }
    EXPECT_STREQ(Inside::message(socket), "not allocate socket handle!");
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(Inside::number(socket), -1);
    EXPECT_TRUE(socket.connect());
}

TEST(JSocketTest, Connect_ToAPortWithoutListener_SucceedsAndTheFirstReadFails) {
    JSocket socket(LOOPBACK, net::freePort());
    EXPECT_TRUE(socket.connect());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_FALSE(socket.isConnectTimeout());
    EXPECT_TRUE(net::isNonBlocking(Inside::number(socket)));
    EXPECT_LT(readOne(socket), 1);
    EXPECT_FALSE(socket.isConnected());
}

TEST(JSocketTest, Connect_ToAPortWithoutListener_SucceedsAndTheFirstWriteFails) {
    JSocket socket(LOOPBACK, net::freePort());
    EXPECT_TRUE(socket.connect());
    JByte b = net::bytes("x");
    EXPECT_EQ(socket.getOutputStream()->write(b), -1);
    EXPECT_FALSE(socket.isConnected());
}

TEST(JSocketTest, Connect_WithoutAnAnswer_TimesOut) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    Inside::connectTimeout(socket) = 0;
    EXPECT_FALSE(socket.connect());
    EXPECT_TRUE(socket.isConnectTimeout());
    EXPECT_FALSE(socket.isConnected());
    EXPECT_STREQ(Inside::message(socket), "error connection timeout!");
    EXPECT_TRUE(isOpen(Inside::number(socket)));
}

TEST(JSocketTest, Connect_AgainWhileTheFirstAttemptGoesOn_CountsAsConnected) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    Inside::connectTimeout(socket) = 0;
    ASSERT_FALSE(socket.connect());
    EXPECT_TRUE(socket.connect());  // EALREADY is one of the errors that are left to the first read
    EXPECT_FALSE(socket.isConnectTimeout());
}

TEST(JSocketSlowTest, Connect_WithoutAnAnswer_TimesOutAfterTenSeconds) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    const net::Stopwatch watch;
    EXPECT_FALSE(socket.connect());
    EXPECT_GE(watch.ms(), 9990);
    EXPECT_LT(watch.ms(), 10000 + net::LATE_MS);
    EXPECT_TRUE(socket.isConnectTimeout());
}

TEST(JSocketTest, Connect_OfAnInterruptedThread_CountsAsConnected) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    Waiter waiter([&] { return socket.connect(); });
    ASSERT_TRUE(waiter.waits());
    waiter.interrupt();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 1);
    EXPECT_FALSE(socket.isConnectTimeout());
}

TEST(JSocketTest, Connect_GoesOnAfterASignal) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    Inside::connectTimeout(socket) = 1;
    Waiter waiter([&] { return socket.connect(); });
    ASSERT_TRUE(waiter.hangUpRepeatedly());
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 0);
    EXPECT_TRUE(socket.isConnectTimeout());
}

TEST(JSocketTest, Connect_ThatAnotherThreadCloses_Fails) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    Waiter waiter([&] { return socket.connect(); });
    ASSERT_TRUE(waiter.waits());
    const int number = Inside::number(socket);
    const net::Stopwatch watch;
    EXPECT_EQ(socket.close(), -1);
    waiter.thread.join();
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_EQ(waiter.result, 0);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_FALSE(isOpen(number));
}

TEST(JSocketTest, Connect_ThatAnotherThreadCloses_LeavesWhatGetsTheNumberNextAlone) {
    const net::SilentPort silent;
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    const Fd other(ends[0]);
    const Fd source(ends[1]);
    ASSERT_EQ(write(source.number(), "ready", 5), 5);
    JSocket socket(LOOPBACK, silent.port());
    Waiter waiter([&] { return socket.connect(); });
    ASSERT_TRUE(waiter.waits());
    const int number = Inside::number(socket);
    socket.close();
    Fd reused;  // gets the number as soon as it is free
    ASSERT_TRUE(support::eventually([&] {
        reused = Fd(fcntl(other.number(), F_DUPFD_CLOEXEC, number));
        return reused.number() == number;
    }));
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 0);
    EXPECT_TRUE(net::isNonBlocking(number)) << "connecting switches that on and off";
}

TEST(JSocketTest, Connect_Cancelled_LeavesNothingHeld) {
    const net::SilentPort silent;
    const int before = net::openDescriptors();
    {
        JSocket socket(LOOPBACK, silent.port());
        Thread thread([&] { socket.connect(); });
        ASSERT_TRUE(thread.fallsAsleep());
        const int number = Inside::number(socket);
        thread.cancel();
        EXPECT_TRUE(thread.join());
        EXPECT_FALSE(socket.isConnected());
        socket.close();
        EXPECT_FALSE(isOpen(number));
    }
    EXPECT_EQ(net::openDescriptors(), before);
}

TEST(JSocketTest, Connect_WithDescriptorsBeyondWhatASetHolds) {
    const net::HighNumbers high;
    Listener listener;
    JSocket socket(LOOPBACK, listener.port());
    EXPECT_TRUE(socket.connect());
    ASSERT_GE(Inside::number(socket), FD_SETSIZE);
    Peer peer = listener.accept();
    expectToTalk(socket, peer);
    JByte b(1);
    Inside::readTimeout(socket) = 0;
    EXPECT_EQ(socket.getInputStream()->read(b), -1);
    EXPECT_TRUE(socket.isReadTimeout());
}

TEST_F(ConnectedSocketTest, Connect_WhenConnected_ClosesTheFormerConnectionFirst) {
    EXPECT_TRUE(socket.connect());
    peer.expectReset();
    Peer next = listener.accept();
    expectToTalk(socket, next);
}

TEST_F(ConnectedSocketTest, Connect_AfterBothShutdowns_TakesAFreshDescriptor) {
    socket.shutdownInput();
    socket.shutdownOutput();
    ASSERT_FALSE(socket.isConnected());
    ASSERT_TRUE(isOpen(number()));
    EXPECT_TRUE(socket.connect());  // the system says that the old descriptor is connected already
    peer.expectEnd();
    Peer next = listener.accept();
    expectToTalk(socket, next);
}

TEST_F(ConnectedSocketTest, Connect_AfterClose) {
    socket.close();
    EXPECT_TRUE(socket.connect());
    Peer next = listener.accept();
    expectToTalk(socket, next);
}

TEST_F(ConnectedSocketTest, Connect_WaitsUntilTheFormerReaderHasLeft) {
    arrives("old");
    Thread reader([this] {
        net::Calls::recv.fail(2, EAGAIN);  // readable, and yet there is nothing: a second's pause follows
        readOne();
    });
    ASSERT_TRUE(reader.fallsAsleep());
    socket.close();
    EXPECT_TRUE(socket.connect());
    reader.join();
    EXPECT_TRUE(socket.isConnected());
    Peer next = listener.accept();
    expectToTalk(socket, next);
}

// ---- close ----

TEST_F(ConnectedSocketTest, Close_ReleasesTheDescriptorAndForgetsTheConnection) {
    const int before = number();
    EXPECT_EQ(socket.close(), -1);
    EXPECT_EQ(Inside::number(socket), -1);
    EXPECT_FALSE(isOpen(before));
    EXPECT_FALSE(socket.isConnected());
    EXPECT_TRUE(Inside::inputShutdown(socket));
    EXPECT_TRUE(Inside::outputShutdown(socket));
}

TEST_F(ConnectedSocketTest, Close_Twice_DoesNothingTheSecondTime) {
    const int before = number();
    EXPECT_EQ(socket.close(), -1);
    const Fd other(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
    EXPECT_EQ(other.number(), before);
    EXPECT_EQ(socket.close(), 1);
    EXPECT_TRUE(isOpen(before));
}

TEST(JSocketTest, Close_OfASocketThatWasNeverOpen_ReturnsOne) {
    JSocket socket("some.host", 1);
    EXPECT_EQ(socket.close(), 1);
}

TEST_F(ConnectedSocketTest, Close_ResetsTheConnection) {
    socket.close();
    peer.expectReset();
}

TEST_F(ConnectedSocketTest, Close_WithALingerTime_EndsTheConnectionInOrder) {
    socket.setSoLinger(true, 5);
    socket.close();
    peer.expectEnd();
}

TEST_F(ConnectedSocketTest, Close_WithALingerTimeOfZero_ResetsTheConnection) {
    socket.setSoLinger(true, 0);
    socket.close();
    peer.expectReset();
}

TEST_F(ConnectedSocketTest, Close_FromManyThreads_ClosesOnce) {
    for (int round = 0; round < 50; round++) {
        std::atomic<int> closings{0};
        {
            const auto close = [&] { closings += socket.close() == -1 ? 1 : 0; };
            const Thread first(close);
            const Thread second(close);
            const Thread third(close);
        }
        EXPECT_EQ(closings, 1);
        ASSERT_TRUE(socket.connect());
        peer = listener.accept();
    }
}

TEST(JSocketTest, Destroyed_ClosesAndDeletesItsStreams) {
    Listener listener;
    auto socket = std::make_unique<JSocket>(LOOPBACK, listener.port());
    ASSERT_TRUE(socket->connect());
    Peer peer = listener.accept();
    peer.send("abc");
    socket->getOutputStream();
    ASSERT_EQ(socket->getInputStream()->readBuffer(), 3);
    const int number = Inside::number(*socket);
    socket.reset();
    EXPECT_FALSE(isOpen(number));
    peer.expectReset();
}

// ---- close after sending ----

TEST_F(ConnectedSocketTest, CloseAfterSending_EndsTheConnectionInOrder_OnceThePeerHasReadEverything) {
    fillTheWay();
    Thread closing([this] { socket.closeAfterSending(30000); });
    ASSERT_TRUE(closing.fallsAsleep());
    EXPECT_TRUE(isOpen(number()));
    peer.drain();
    peer.expectEnd();
    EXPECT_FALSE(closing.isFinished());
    peer.close();
    closing.join();
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(Inside::number(socket), -1);
}

TEST_F(ConnectedSocketTest, CloseAfterSending_DiscardsWhatThePeerSends) {
    Thread closing([this] { socket.closeAfterSending(30000); });
    const std::string some(100000, '#');
    for (int i = 0; i < 100; i++) peer.send(some);  // more than there is room for
    peer.expectEnd();
    peer.close();
    closing.join();
}

TEST_F(ConnectedSocketTest, CloseAfterSending_WaitsForThePeerNoLongerThanItsTime) {
    const int before = number();
    const net::Stopwatch watch;
    socket.closeAfterSending(200);
    EXPECT_GE(watch.ms(), 199);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_FALSE(isOpen(before));
    peer.expectEnd();
}

TEST_F(ConnectedSocketTest, CloseAfterSending_ToAPeerThatDoesNotStopSending_EndsInTime) {
    std::atomic<bool> over{false};
    Thread pouring([&] {
        const std::string some(100000, '#');
        while (!over && ::send(peer.fd(), some.data(), some.size(), MSG_NOSIGNAL) > 0) {
        }
    });
    const net::Stopwatch watch;
    socket.closeAfterSending(200);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    over = true;
}

TEST_F(ConnectedSocketTest, CloseAfterSending_WhatIsNotTakenInTime_IsSentAllTheSame) {
    const std::string some(100000, '#');
    size_t sent = 0;
    for (int n = 1; n > 0; sent += static_cast<size_t>(n))
        n = out->offer(some.data(), static_cast<int>(some.size()));
    socket.closeAfterSending(1);
    EXPECT_EQ(peer.receive(sent).size(), sent);
    peer.expectEnd();
}

TEST_F(ConnectedSocketTest, CloseAfterSending_EndsAReadAndAWriteInProgress) {
    fillTheWay();
    Waiter reader([this] { return readOne(); });
    Waiter writer([this] { return writeALot(); });
    ASSERT_TRUE(reader.waits() && writer.waits());
    const net::Stopwatch watch;
    socket.closeAfterSending(100);
    reader.thread.join();
    writer.thread.join();
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_LT(reader.result, 1);
    EXPECT_EQ(writer.result, -1);
    EXPECT_FALSE(socket.isWriteTimeout());
}

TEST_F(ConnectedSocketTest, CloseAfterSending_OfAPeerThatHasGone_ReturnsAtOnce) {
    peer.reset();
    const net::Stopwatch watch;
    socket.closeAfterSending(30000);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_FALSE(socket.isConnected());
}

TEST(JSocketTest, CloseAfterSending_WithoutAConnection_Closes) {
    JSocket unconnected("some.host", 1);
    unconnected.closeAfterSending(30000);
    JSocket none(-1);
    none.closeAfterSending(30000);
    EXPECT_FALSE(none.isConnected());
}

// ---- close and wake-up while other threads wait ----

TEST_F(ConnectedSocketTest, Close_UnderAReader_EndsItsReadAtOnce) {
    const int before = number();
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.waits());
    const net::Stopwatch watch;
    EXPECT_EQ(socket.close(), -1);
    reader.thread.join();
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_EQ(reader.result, -1);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isConnected());
    EXPECT_FALSE(isOpen(before));
    peer.expectReset();
}

TEST_F(ConnectedSocketTest, Close_UnderAWriter_EndsItsWriteSoon) {
    fillTheWay();
    const int before = number();
    Waiter writer([this] { return writeALot(); });
    ASSERT_TRUE(writer.waits());
    const net::Stopwatch watch;
    EXPECT_EQ(socket.close(), -1);
    writer.thread.join();
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_EQ(writer.result, -1);
    EXPECT_FALSE(socket.isWriteTimeout());
    EXPECT_FALSE(isOpen(before));
}

// A writer looks up ten times a second; these are beyond its first look.
TEST_F(ConnectedSocketTest, Close_UnderThreadsThatHaveWaitedForAWhile_EndsThemSoon) {
    fillTheWay();
    Waiter reader([this] { return readOne(); });
    PatientWaiter writer([this] { return writeALot(); });
    ASSERT_TRUE(reader.waits() && writer.waitsForLong());
    const net::Stopwatch watch;
    socket.close();
    reader.thread.join();
    EXPECT_EQ(reader.result, -1);
    EXPECT_EQ(writer.join(), -1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isWriteTimeout());
}

TEST_F(ConnectedSocketTest, WakeUp_OfThreadsThatHaveWaitedForAWhile_EndsTheirWaitsSoon) {
    fillTheWay();
    Waiter reader([this] { return readOne(); });
    PatientWaiter writer([this] { return writeALot(); });
    ASSERT_TRUE(reader.waits() && writer.waitsForLong());
    const net::Stopwatch watch;
    socket.wakeUp();
    reader.thread.join();
    EXPECT_EQ(reader.result, -1);
    EXPECT_EQ(writer.join(), -1);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isWriteTimeout());
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(ConnectedSocketTest, Close_UnderAReader_KeepsTheNumberUntilItHasLeft) {
    arrives("x");
    const int before = number();
    Thread reader([this] {
        net::Calls::recv.fail(2, EAGAIN);  // readable, and yet there is nothing: a second's pause follows
        readOne();
    });
    ASSERT_TRUE(reader.fallsAsleep());
    EXPECT_EQ(socket.close(), -1);
    EXPECT_EQ(Inside::number(socket), -1);
    EXPECT_TRUE(isOpen(before));
    reader.join();
    EXPECT_FALSE(isOpen(before));
}

TEST_F(ConnectedSocketTest, Close_UnderAReader_NeverLetsItReadFromWhatGetsTheNumberNext) {
    for (int round = 0; round < 100; round++) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const Fd other(ends[0]);
        const Fd source(ends[1]);
        EXPECT_EQ(write(source.number(), "secret", 6), 6);
        const int before = number();
        Waiter reader([this] { return readOne(); });
        if (round % 2 == 0) {  // otherwise close and read meet at any point
            ASSERT_TRUE(reader.waits());
        }
        socket.close();
        Fd reused;  // gets the number as soon as it is free
        ASSERT_TRUE(support::eventually([&] {
            reused = Fd(fcntl(other.number(), F_DUPFD_CLOEXEC, before));
            return reused.number() == before;
        }));
        reader.thread.join();
        EXPECT_EQ(reader.result, -1);
        char text[8];
        EXPECT_EQ(recv(reused.number(), text, sizeof text, MSG_DONTWAIT), 6);
        ASSERT_TRUE(socket.connect());
        peer = listener.accept();
    }
}

TEST_F(ConnectedSocketTest, Close_WhileBothDirectionsAreBusy_EndsBoth) {
    for (int round = 0; round < 20; round++) {
        Thread echo([this] {
            char some[4096];
            ssize_t n = 0;
            while ((n = ::recv(peer.fd(), some, sizeof some, 0)) > 0) {
                if (::send(peer.fd(), some, static_cast<size_t>(n), MSG_NOSIGNAL) < 0) return;
            }
        });
        std::atomic<int> reads{0};
        Thread reader([this, &reads] {
            JByte b(4096);
            while (in->read(b) > 0) reads++;
        });
        Thread writer([this] {
            JByte b = net::bytes(net::pattern(3000));
            while (out->write(b) == 0) {
            }
        });
        EXPECT_TRUE(support::eventually([&] { return reads > round; }));
        const int before = number();
        EXPECT_EQ(socket.close(), -1);
        reader.join();
        writer.join();
        EXPECT_FALSE(isOpen(before));
        echo.join();
        ASSERT_TRUE(socket.connect());
        peer = listener.accept();
    }
}

TEST_F(ConnectedSocketTest, WakeUp_EndsAReadAsIfItsTimeWereOver) {
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.waits());
    const net::Stopwatch watch;
    socket.wakeUp();
    reader.thread.join();
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_EQ(reader.result, -1);
    EXPECT_EQ(reader.error, ETIMEDOUT);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_TRUE(isOpen(number()));
}

TEST_F(ConnectedSocketTest, WakeUp_EndsAWriteAsIfItsTimeWereOver) {
    fillTheWay();
    Waiter writer([this] { return writeALot(); });
    ASSERT_TRUE(writer.waits());
    const net::Stopwatch watch;
    socket.wakeUp();
    writer.thread.join();
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_EQ(writer.result, -1);
    EXPECT_EQ(writer.error, ETIMEDOUT);
    EXPECT_TRUE(socket.isWriteTimeout());
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(ConnectedSocketTest, WakeUp_IsNotSeenByThePeer) {
    socket.wakeUp();
    EXPECT_EQ(readOne(), -1);
    peer.expectNothing();
    EXPECT_EQ(writeText("still here"), 0);
    peer.expect("still here");
    arrives("answer");
    EXPECT_EQ(readText(6), "answer");
    peer.expectNothing();
}

TEST_F(ConnectedSocketTest, WakeUp_BeforeARead_EndsItAtOnce) {
    socket.wakeUp();
    const net::Stopwatch watch;
    EXPECT_EQ(readOne(), -1);
    EXPECT_EQ(readOne(), -1);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST_F(ConnectedSocketTest, WakeUp_LetsAReadKeepWhatItHas) {
    arrives("abc");
    socket.wakeUp();
    EXPECT_EQ(readText(100), "abc");
    EXPECT_FALSE(socket.isReadTimeout());
}

TEST_F(ConnectedSocketTest, WakeUp_LastsUntilTheNextConnection) {
    socket.wakeUp();
    ASSERT_TRUE(socket.connect());
    peer = listener.accept();
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.hangUpRepeatedly());  // each time it looks whether it is to end
    peer.send("x");
    reader.thread.join();
    EXPECT_EQ(reader.result, 1);
}

TEST(JSocketTest, WakeUp_WithoutAConnection_DoesNothing) {
    JSocket unconnected("some.host", 1);
    unconnected.wakeUp();
    EXPECT_FALSE(unconnected.isConnected());
    JSocket closed(-1);
    closed.close();
    closed.wakeUp();
}

TEST(JSocketTest, WakeUp_DoesNotBreakAConnectOff) {
    const net::SilentPort silent;
    JSocket socket(LOOPBACK, silent.port());
    Inside::connectTimeout(socket) = 1;
    const net::Stopwatch watch;
    Waiter waiter([&] { return socket.connect(); });
    ASSERT_TRUE(waiter.waits());
    socket.wakeUp();
    waiter.thread.join();
    EXPECT_EQ(waiter.result, 0);
    EXPECT_TRUE(socket.isConnectTimeout());
    EXPECT_GE(watch.ms(), 999);
}

// ---- the peer goes ----

TEST_F(ConnectedSocketTest, IsPeerClosed_TellsWhetherThePeerHasGone) {
    EXPECT_FALSE(socket.isPeerClosed());
    arrives("unread");
    EXPECT_FALSE(socket.isPeerClosed());
    peer.close();
    EXPECT_TRUE(support::eventually([this] { return socket.isPeerClosed(); }));
    EXPECT_EQ(readText(6), "unread");
}

TEST_F(ConnectedSocketTest, IsPeerClosed_AfterAReset) {
    peer.reset();
    EXPECT_TRUE(support::eventually([this] { return socket.isPeerClosed(); }));
}

TEST_F(ConnectedSocketTest, IsPeerClosed_OfAClosedSocket_IsTrue) {
    socket.close();
    EXPECT_TRUE(socket.isPeerClosed());
}

TEST_F(ConnectedSocketTest, IsPeerClosed_AfterAWakeUp_IsTrue) {
    socket.wakeUp();
    EXPECT_TRUE(socket.isPeerClosed());
}

// ---- shutdown ----

TEST_F(ConnectedSocketTest, ShutdownOutput_EndsTheStreamForThePeer) {
    EXPECT_TRUE(socket.shutdownOutput());
    EXPECT_TRUE(Inside::outputShutdown(socket));
    EXPECT_FALSE(Inside::inputShutdown(socket));
    EXPECT_TRUE(socket.isConnected());
    peer.expectEnd();
    arrives("still read");
    EXPECT_EQ(readText(10), "still read");
    EXPECT_EQ(writeText("x"), -1);
}

TEST_F(ConnectedSocketTest, ShutdownInput_EndsTheStreamHere) {
    EXPECT_TRUE(socket.shutdownInput());
    EXPECT_TRUE(Inside::inputShutdown(socket));
    EXPECT_FALSE(Inside::outputShutdown(socket));
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(writeText("still written"), 0);
    peer.expect("still written");
    EXPECT_EQ(readOne(), 0);
}

TEST_F(ConnectedSocketTest, ShutdownOfBoth_IsNoLongerConnected) {
    EXPECT_TRUE(socket.shutdownInput());
    EXPECT_FALSE(socket.shutdownOutput());
    EXPECT_FALSE(socket.isConnected());
    EXPECT_TRUE(isOpen(number()));
}

TEST_F(ConnectedSocketTest, ShutdownOfBoth_TheOtherWayRound) {
    EXPECT_TRUE(socket.shutdownOutput());
    EXPECT_FALSE(socket.shutdownInput());
    EXPECT_FALSE(socket.isConnected());
}

TEST(JSocketTest, Shutdown_OfAClosedSocket_IsNotConnected) {
    JSocket socket("some.host", 1);
    EXPECT_FALSE(socket.shutdownInput());
    EXPECT_FALSE(socket.shutdownOutput());
}

// ---- options ----

TEST_F(ConnectedSocketTest, SetTcpNoDelay_SetsTheOption_WhichTheGetterNeverTells) {
    EXPECT_EQ(socket.setTcpNoDelay(true), 0);
    EXPECT_GT(net::option(number(), IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_FALSE(socket.getTcpNoDelay());
    EXPECT_EQ(socket.setTcpNoDelay(false), 0);
    EXPECT_EQ(net::option(number(), IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_FALSE(socket.getTcpNoDelay());
}

TEST_F(ConnectedSocketTest, SoLinger_IsSetAndTold) {
    EXPECT_EQ(socket.getSoLinger(), 0);
    EXPECT_EQ(socket.setSoLinger(true, 7), 0);
    EXPECT_EQ(socket.getSoLinger(), 7);
    EXPECT_EQ(socket.setSoLinger(false, 7), 0);
    EXPECT_EQ(socket.getSoLinger(), 0);
    linger value{9, 9};
    socklen_t size = sizeof value;
    getsockopt(number(), SOL_SOCKET, SO_LINGER, &value, &size);
    EXPECT_EQ(value.l_onoff, 0);
}

TEST_F(ConnectedSocketTest, BufferSizes_AreSetAndTold) {
    EXPECT_EQ(socket.setSendBufferSize(20000), 0);
    EXPECT_EQ(socket.setReceiveBufferSize(30000), 0);
    EXPECT_EQ(socket.getSendBufferSize(), net::option(number(), SOL_SOCKET, SO_SNDBUF));
    EXPECT_EQ(socket.getReceiveBufferSize(), net::option(number(), SOL_SOCKET, SO_RCVBUF));
    EXPECT_GE(socket.getSendBufferSize(), 20000);
    EXPECT_GE(socket.getReceiveBufferSize(), 30000);
}

TEST_F(ConnectedSocketTest, KeepAlive_IsSetAndTold) {
    EXPECT_FALSE(socket.getKeepAlive());
    EXPECT_EQ(socket.setKeepAlive(true), 0);
    EXPECT_GT(net::option(number(), SOL_SOCKET, SO_KEEPALIVE), 0);
    EXPECT_TRUE(socket.getKeepAlive());
    EXPECT_EQ(socket.setKeepAlive(false), 0);
    EXPECT_FALSE(socket.getKeepAlive());
}

TEST(JSocketTest, Options_OfAClosedSocket_Fail) {
    JSocket socket("some.host", 1);
    EXPECT_EQ(socket.setTcpNoDelay(true), -1);
    EXPECT_EQ(socket.setSoLinger(true, 1), -1);
    EXPECT_EQ(socket.setSendBufferSize(1000), -1);
    EXPECT_EQ(socket.setReceiveBufferSize(1000), -1);
    EXPECT_EQ(socket.setKeepAlive(true), -1);
    EXPECT_FALSE(socket.getTcpNoDelay());
    EXPECT_EQ(socket.getSoLinger(), -1);
    EXPECT_EQ(socket.getSendBufferSize(), 0);
    EXPECT_EQ(socket.getReceiveBufferSize(), 0);
    EXPECT_FALSE(socket.getKeepAlive());
}

// ---- addresses ----

TEST_F(ConnectedSocketTest, TellsItsAddresses) {
    EXPECT_EQ(socket.getLocalPort(), net::portOf(number()));
    EXPECT_EQ(dotted(socket.getLocalAddress()), LOOPBACK);
    EXPECT_EQ(dotted(socket.getInetAddress()), LOOPBACK);
    EXPECT_EQ(socket.getPort(), listener.port());
}

TEST(JSocketTest, Addresses_OfAClosedSocket_AreUnknown) {
    JSocket socket(LOOPBACK, 1);
    EXPECT_EQ(socket.getLocalPort(), -1);
    EXPECT_EQ(dotted(socket.getLocalAddress()), "0.0.0.0");
}

TEST_F(ConnectedSocketTest, GetInetAddress_IsThatOfTheLastConnection_AfterClose) {
    socket.close();
    EXPECT_EQ(dotted(socket.getInetAddress()), LOOPBACK);
}
