#include <climits>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

#include "net/Connection.h"
#include "net/JDataInputStream.h"
#include "net/JServerSocket.h"
#include "net/JSocket.h"
#include "net/SystemCalls.h"
#include "net/Waiter.h"
#include "support/WallClock.h"

using net::AsWaitsBegin;
using net::bytes;
using net::Calls;
using net::Inside;
using net::isOpen;
using net::pattern;
using net::text;
using net::Waiter;
using support::Thread;

namespace {

constexpr int WINDOW = JSocket::JSocketInputStream::WINDOW_SIZE;

class SocketInputStreamTest : public net::ConnectionTest {
protected:
    /** Puts the bytes into the read-ahead buffer. */
    void readAhead(const std::string& data) {
        arrives(data);
        ASSERT_EQ(in->readBuffer(), static_cast<int>(data.size()));
    }
    int read(JByte& b, int off, int len) { return in->read(b, off, len); }
};

class JSocketOutputStreamTest : public net::ConnectionTest {};

/** Notes how the derived forms reach the virtual operation. */
class SpyInput : public JSocket::JSocketInputStream {
public:
    using JSocketInputStream::JSocketInputStream;
    using JSocketInputStream::read;
    int read(JByte& b, int off, int len) override {
        *static_cast<char*>(b) = static_cast<char>(0xFE);
        range = {off, len};
        return result;
    }
    std::pair<int, int> range{-1, -1};
    int result = 1;
};

class SpyOutput : public JSocket::JSocketOutputStream {
public:
    using JSocketOutputStream::JSocketOutputStream;
    using JSocketOutputStream::write;
    int write(JByte& b, int off, int len) override {
        block = text(b, 0, b.size());
        range = {off, len};
        return 42;
    }
    std::string block;
    std::pair<int, int> range{-1, -1};
};

}  // namespace

// ---- messages: looking at bytes before they are taken ----

TEST_F(SocketInputStreamTest, Received_ShowsWhatHasBeenReceivedAndNotYetRead) {
    EXPECT_EQ(in->received(1), nullptr);
    arrives("0123456789");
    EXPECT_EQ(in->received(1), nullptr) << "still in the system";
    readText(4);
    const int calls = Calls::recv.count + Calls::poll.count;
    ASSERT_NE(in->received(6), nullptr);
    EXPECT_EQ(std::string(in->received(6), 6), "456789");
    EXPECT_EQ(in->received(7), nullptr);
    in->consume(4);
    EXPECT_EQ(std::string(in->received(2), 2), "89");
    EXPECT_EQ(Calls::recv.count + Calls::poll.count, calls);
    EXPECT_EQ(readText(2), "89");
    EXPECT_EQ(in->received(1), nullptr);
}

TEST_F(SocketInputStreamTest, Received_NothingOfAClosedSocketOrAFormerConnection) {
    arrives("0123456789");
    readText(4);
    socket.close();
    EXPECT_EQ(in->received(1), nullptr);
    ASSERT_TRUE(socket.connect());
    EXPECT_EQ(in->received(1), nullptr);
}

TEST_F(SocketInputStreamTest, Await_WaitsUntilEverythingIsThere) {
    const std::string all = pattern(20);
    size_t sent = 0;
    const AsWaitsBegin event([&] {
        if (sent < all.size()) arrives(all.substr(sent, 5));
        sent += 5;
    });
    const char* const bytes = in->await(20);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, 20), all);
    in->consume(20);
    EXPECT_EQ(in->received(1), nullptr);
}

TEST_F(SocketInputStreamTest, Await_OfTheWholeWindow_WhereverTheFirstByteLies) {
    const std::string all = pattern(3 * WINDOW);
    Thread sender([&] { peer.send(all); });
    size_t taken = 0;
    for (const int n : {1, WINDOW, 100, WINDOW, WINDOW - 101}) {
        const char* const bytes = in->await(n);
        ASSERT_NE(bytes, nullptr);
        EXPECT_TRUE(std::string(bytes, static_cast<size_t>(n)) == all.substr(taken, static_cast<size_t>(n)));
        in->consume(n);
        taken += static_cast<size_t>(n);
    }
    EXPECT_EQ(taken, all.size());
}

TEST_F(SocketInputStreamTest, Await_AfterATimeOut_DropsWhatHadCome) {
    Inside::readTimeout(socket) = 0;
    arrives("0123");
    EXPECT_EQ(in->await(10), nullptr);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(errno, ETIMEDOUT);
    arrives("abc");
    const char* const bytes = in->await(3);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, 3), "abc");
    EXPECT_FALSE(socket.isReadTimeout());
}

TEST_F(SocketInputStreamTest, Await_AtTheEndOrAfterAReset_ClosesTheSocket) {
    peer.send("0123");
    peer.close();
    EXPECT_EQ(in->await(10), nullptr);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(in->await(1), nullptr);
    EXPECT_EQ(errno, EBADF);
    ASSERT_TRUE(socket.connect());
    listener.accept().reset();
    EXPECT_EQ(in->await(1), nullptr);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, Await_EndsWhenTheSocketIsWokenUp) {
    Waiter reader([this] { return in->await(10) == nullptr; });
    ASSERT_TRUE(reader.waits());
    socket.wakeUp();
    reader.thread.join();
    EXPECT_EQ(reader.result, 1);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, ReadInto_TakesFromTheWindowAndThenFromTheSystem) {
    arrives("0123456789");
    ASSERT_NE(in->await(4), nullptr);
    in->consume(4);
    char some[8];
    const AsWaitsBegin event([&] {
        if (waiting() == 0) arrives("ab");
    });
    EXPECT_EQ(in->readInto(some, 8), 8);
    EXPECT_EQ(std::string(some, 8), "456789ab");
    EXPECT_EQ(in->readInto(some, 0), -1);
}

TEST_F(SocketInputStreamTest, Read_AfterATryThatFoundNothing_WaitsFirst) {
    const AsWaitsBegin event([this] {
        if (waiting() == 0) arrives("x");
    });
    EXPECT_EQ(readOne(), 1);  // tries, waits, receives
    const int receives = Calls::recv.count;
    const int waits = Calls::poll.count;
    EXPECT_EQ(readOne(), 1);
    EXPECT_EQ(readOne(), 1);
    EXPECT_EQ(Calls::recv.count, receives + 2);
    EXPECT_EQ(Calls::poll.count, waits + 2);
}

TEST_F(SocketInputStreamTest, Read_AfterAReceiveThatFilledTheWindow_TriesFirstAgain) {
    std::string some = "x";
    const AsWaitsBegin event([&] { arrives(some); });
    EXPECT_EQ(readOne(), 1);
    some = std::string(WINDOW + 10, 'y');
    EXPECT_EQ(readText(WINDOW - 1).size(), static_cast<size_t>(WINDOW - 1));
    const int waits = Calls::poll.count;
    EXPECT_EQ(readText(11), std::string(11, 'y'));
    EXPECT_EQ(Calls::poll.count, waits);
}

// ---- bytes that are sent without waiting ----

TEST_F(JSocketOutputStreamTest, Offer_SendsAtOnceAndSaysHowMuch) {
    errno = ENOENT;
    EXPECT_EQ(out->offer("hello", 5), 5);
    EXPECT_EQ(peer.receive(5), "hello");
    EXPECT_EQ(out->offer("hello", 0), 0);
    EXPECT_EQ(out->offer("hello", -1), 0);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(JSocketOutputStreamTest, Offer_TakesNothingWhereAWriteWouldWait_AndLeavesErrnoAlone) {
    fillTheWay();
    errno = ENOENT;
    while (out->offer("hello", 5) > 0) {  // the last bytes of room
    }
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(JSocketOutputStreamTest, Offer_OnAClosedSocketIsNothing) {
    socket.close();
    EXPECT_EQ(out->offer("hello", 5), 0);
}

// ---- input: what it is ----

TEST_F(SocketInputStreamTest, HasTheClassRecordOfInputStreams) {
    EXPECT_EQ(in->getClass(), &JInputStream::classJInputStream);
}

TEST_F(SocketInputStreamTest, IsNew_WithoutAReadAheadBuffer) {
    EXPECT_EQ(Inside::owner(*in), &socket);
    EXPECT_EQ(Inside::readAhead(*in), nullptr);
    EXPECT_EQ(Inside::buffered(*in), 0);
}

TEST_F(SocketInputStreamTest, Close_ClosesTheSocket) {
    EXPECT_EQ(in->close(), -1);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(in->close(), 1);
}

TEST_F(SocketInputStreamTest, Skip_PassesOverNothing) {
    arrives("abc");
    EXPECT_EQ(in->skip(2), 0);
    EXPECT_EQ(readText(3), "abc");
}

// ---- input: the range ----

TEST_F(SocketInputStreamTest, Read_OfNothing_IsAnError) {
    arrives("abc");
    JByte b(10);
    JByte empty;
    EXPECT_EQ(read(b, 0, 0), -1);
    EXPECT_EQ(read(b, 0, -1), -1);
    EXPECT_EQ(read(b, 10, 1), -1);
    EXPECT_EQ(read(b, 11, 1), -1);
    EXPECT_EQ(read(b, INT_MAX, INT_MAX), -1);
    EXPECT_EQ(in->read(empty), -1);
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(waiting(), 3);
}

TEST_F(SocketInputStreamTest, Read_FromBeforeTheBlock_IsAnError) {
    arrives("abc");
    JByte b(10);
    EXPECT_EQ(read(b, -1, 5), -1);
    EXPECT_EQ(read(b, INT_MIN, INT_MAX), -1);
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(waiting(), 3);
}

TEST_F(SocketInputStreamTest, Read_FillsTheRangeOnly) {
    arrives("abcdef");
    JByte b = bytes("..........");
    EXPECT_EQ(read(b, 2, 4), 4);
    EXPECT_EQ(text(b, 0, 10), "..abcd....");
}

TEST_F(SocketInputStreamTest, Read_OfMoreThanTheBlockHolds_FillsTheBlock) {
    arrives("abcdef");
    JByte b = bytes(".....");
    EXPECT_EQ(read(b, 2, INT_MAX), 3);
    EXPECT_EQ(text(b, 0, 5), "..abc");
    EXPECT_EQ(in->read(b), 3);
    EXPECT_EQ(text(b, 0, 5), "defbc");
}

// ---- input: waiting ----

TEST_F(SocketInputStreamTest, Read_OfWhatIsThere_DoesNotWait) {
    arrives("abc");
    const int waits = Calls::poll.count;
    EXPECT_EQ(readText(3), "abc");
    EXPECT_EQ(Calls::poll.count, waits);
}

TEST_F(SocketInputStreamTest, Read_WaitsForTheFirstByte) {
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.waits());
    peer.send("x");
    reader.thread.join();
    EXPECT_EQ(reader.result, 1);
}

TEST_F(SocketInputStreamTest, Read_OfAQuietConnection_SleepsInOneWait) {
    Waiter reader([this] { return readOne() + Calls::poll.count * 10; });
    ASSERT_TRUE(reader.waits());
    const net::Stopwatch watch;
    EXPECT_TRUE(support::eventually([&] { return watch.ms() > 300; }));
    peer.send("x");
    reader.thread.join();
    EXPECT_EQ(reader.result, 11);
}

TEST_F(SocketInputStreamTest, Read_OfAPart_ReturnsWhatCameWithinASlice) {
    arrives("0123456789");
    const net::Stopwatch watch;
    EXPECT_EQ(readText(100), "0123456789");
    EXPECT_GE(watch.ms(), 99);
    EXPECT_LT(watch.ms(), net::LATE_MS);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, Read_CollectsWhatComesSliceBySlice) {
    int pieces = 0;
    const AsWaitsBegin event([&] {
        if (++pieces <= 5) arrives("piece" + std::to_string(pieces));
    });
    EXPECT_EQ(readText(100), "piece1piece2piece3piece4piece5");
    EXPECT_EQ(pieces, 6);
}

TEST_F(SocketInputStreamTest, Read_ReturnsAsSoonAsTheRangeIsFull) {
    int pieces = 0;
    const AsWaitsBegin event([&] { arrives("piece" + std::to_string(++pieces)); });
    EXPECT_EQ(readText(12), "piece1piece2");
    EXPECT_EQ(pieces, 2);
}

TEST_F(SocketInputStreamTest, Read_OfNothingInTime_TimesOutAndLeavesTheSocketOpen) {
    Inside::readTimeout(socket) = 0;
    const net::Stopwatch watch;
    EXPECT_EQ(readOne(), -1);
    EXPECT_GE(watch.ms(), 99);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_TRUE(isOpen(number()));
    peer.expectNothing();
}

TEST_F(SocketInputStreamTest, Read_KeepsItsTimeWhenTheClockIsSet) {
    for (const long long ms : {support::AN_HOUR_MS, -support::AN_HOUR_MS}) {
        Inside::readTimeout(socket) = 1;
        std::unique_ptr<support::WallClock> clock;
        const AsWaitsBegin event([&] { clock = std::make_unique<support::WallClock>(ms); });
        const net::Stopwatch watch;
        EXPECT_EQ(readOne(), -1);
        EXPECT_GE(watch.ms(), 999);
        EXPECT_LT(watch.ms(), 1000 + net::LATE_MS);
        EXPECT_TRUE(socket.isReadTimeout());
    }
}

TEST_F(SocketInputStreamTest, Read_OfADescriptorThatBlocks_TimesOutAllTheSame) {
    fcntl(number(), F_SETFL, 0);
    Inside::readTimeout(socket) = 0;
    EXPECT_EQ(readOne(), -1);
    EXPECT_TRUE(socket.isReadTimeout());
}

TEST(JSocketInputStreamSlowTest, Read_OfNothing_TimesOutAfterSixtySeconds) {
    net::Listener listener;
    JSocket socket(net::LOOPBACK, listener.port());
    ASSERT_TRUE(socket.connect());
    net::Peer peer = listener.accept();
    JByte b(100);
    const net::Stopwatch watch;
    EXPECT_EQ(socket.getInputStream()->read(b, 0, 100), -1);
    EXPECT_GE(watch.ms(), 59990);
    EXPECT_LT(watch.ms(), 60000 + net::LATE_MS);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, Read_AfterATimeOut_ReadsOnAndTakesTheFlagBack) {
    Inside::readTimeout(socket) = 0;
    EXPECT_EQ(readOne(), -1);
    arrives("late");
    EXPECT_EQ(readText(4), "late");
    EXPECT_FALSE(socket.isReadTimeout());
}

TEST_F(SocketInputStreamTest, Read_OfAClosedSocketAfterATimeOut_IsNoTimeOut) {
    Inside::readTimeout(socket) = 0;
    EXPECT_EQ(readOne(), -1);
    ASSERT_TRUE(socket.isReadTimeout());
    socket.close();
    EXPECT_EQ(readOne(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(socket.isReadTimeout());
}

TEST_F(SocketInputStreamTest, Read_OfSomethingReadableThatIsNot_PausesForASecond) {
    arrives("abc");
    Calls::recv.fail(2, EAGAIN);
    const net::Stopwatch watch;
    EXPECT_EQ(readText(3), "abc");
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 1000 + net::LATE_MS);
}

TEST_F(SocketInputStreamTest, Read_CutShortBeforeAnyWait_OnlyWaits) {
    arrives("abc");
    Calls::recv.fail(1, EINTR);
    const int waits = Calls::poll.count;
    EXPECT_EQ(readText(3), "abc");
    EXPECT_EQ(Calls::poll.count, waits + 1);
}

TEST_F(SocketInputStreamTest, Read_GoesOnAfterASignal) {
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.hangUpRepeatedly());
    peer.send("x");
    reader.thread.join();
    EXPECT_EQ(reader.result, 1);
    EXPECT_EQ(reader.error, 0);
}

TEST_F(SocketInputStreamTest, Read_OfAThreadThatIsInterrupted_FailsAndClosesTheSocket) {
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.waits());
    reader.interrupt();
    reader.thread.join();
    EXPECT_EQ(reader.result, -1);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isConnected());
    peer.expectReset();
}

TEST_F(SocketInputStreamTest, Read_OfAThreadThatWasInterruptedBefore_StillTakesWhatIsThere) {
    arrives("x");
    Waiter reader([this] {
        JThread::interrupt();
        return readOne() * 10 + readOne();
    });
    reader.thread.join();
    EXPECT_EQ(reader.result, 10 - 1);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, Read_ThatSucceeds_LeavesErrnoAsItWas) {
    errno = ENOSPC;
    arrives("abc");
    EXPECT_EQ(readText(3), "abc");
    EXPECT_EQ(errno, ENOSPC);
    const AsWaitsBegin event([this] { arrives("abc"); });
    Calls::poll.fail(1, EINTR);
    errno = ENOSPC;
    EXPECT_EQ(readText(3), "abc");
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(SocketInputStreamTest, Read_ThatWaited_DoesNotMakeAnAcceptOnTheSameThreadWaitForEver) {
    JServerSocket server(net::freePort());
    const AsWaitsBegin event([this] {
        if (waiting() == 0) arrives("x");
    });
    errno = 0;
    EXPECT_EQ(readOne(), 1);
    const net::Stopwatch watch;
    EXPECT_EQ(server.accept(), nullptr);
    EXPECT_LT(watch.ms(), 1000 + net::LATE_MS);
}

TEST_F(SocketInputStreamTest, Read_Cancelled_LeavesNothingHeld) {
    const int before = number();
    Thread reader([this] { readOne(); });
    ASSERT_TRUE(reader.fallsAsleep());
    reader.cancel();
    EXPECT_TRUE(reader.join());
    EXPECT_TRUE(socket.isConnected());
    arrives("x");
    EXPECT_EQ(readOne(), 1);
    socket.close();
    EXPECT_FALSE(isOpen(before));
}

TEST_F(SocketInputStreamTest, Read_CancelledAnywhere_LeavesNothingHeld) {
    for (int round = 0; round < 100; round++) {
        std::atomic<int> reads{0};
        Thread reader([this, &reads] {
            for (;;) {
                readOne();
                reads++;
            }
        });
        const std::string some(static_cast<size_t>(round % 7 + 1), 'x');
        peer.send(some);
        EXPECT_TRUE(support::eventually([&] { return reads >= round % 7; }));
        reader.cancel();
        EXPECT_TRUE(reader.join());
    }
    const int before = number();
    socket.close();
    EXPECT_FALSE(isOpen(before));
}

// ---- input: the end ----

TEST_F(SocketInputStreamTest, Read_AtTheEnd_ReturnsZeroAndClosesTheSocket) {
    const int before = number();
    peer.close();
    EXPECT_EQ(readOne(), 0);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(Inside::number(socket), -1);
    EXPECT_FALSE(isOpen(before));
    EXPECT_EQ(readOne(), -1);
}

TEST_F(SocketInputStreamTest, Read_WhileThePeerCloses_ReturnsZero) {
    Waiter reader([this] { return readOne(); });
    ASSERT_TRUE(reader.waits());
    peer.close();
    reader.thread.join();
    EXPECT_EQ(reader.result, 0);
}

TEST_F(SocketInputStreamTest, Read_OfAPartBeforeTheEnd_ReturnsThePartFirst) {
    peer.send("abc");
    peer.close();
    EXPECT_EQ(readText(10), "abc");
    EXPECT_TRUE(socket.isConnected());
    EXPECT_EQ(readOne(), 0);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, Read_AfterAReset_FailsAndClosesTheSocket) {
    peer.reset();
    EXPECT_EQ(readOne(), -1);
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_FALSE(socket.isReadTimeout());
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, Read_OfAPartBeforeAReset_Fails) {
    arrives("abc");
    const AsWaitsBegin event([this] { peer.reset(); });
    JByte b(10);
    EXPECT_EQ(in->read(b), -1);
    EXPECT_FALSE(socket.isConnected());
}

// ---- input: single bytes and whole blocks ----

TEST_F(SocketInputStreamTest, ReadOfAByte_ReturnsItUnsigned) {
    arrives(std::string("\0\x7F\x80\xFF", 4));
    EXPECT_EQ(in->read(), 0);
    EXPECT_EQ(in->read(), 0x7F);
    EXPECT_EQ(in->read(), 0x80);
    EXPECT_EQ(in->read(), 0xFF);
}

TEST_F(SocketInputStreamTest, ReadOfAByte_AtTheEnd_IsMinusOne) {
    peer.close();
    EXPECT_EQ(in->read(), -1);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, ReadOfAByte_AfterATimeOut_IsMinusOne) {
    Inside::readTimeout(socket) = 0;
    EXPECT_EQ(in->read(), -1);
    EXPECT_TRUE(socket.isReadTimeout());
}

TEST_F(SocketInputStreamTest, ReadOfAByte_OrOfABlock_GoesThroughTheVirtualRead) {
    SpyInput spy(&socket);
    EXPECT_EQ(spy.read(), 0xFE);
    EXPECT_EQ(spy.range, std::make_pair(0, 1));
    spy.result = 0;
    EXPECT_EQ(spy.read(), -1);
    spy.result = 77;
    JByte b(9);
    EXPECT_EQ(spy.read(b), 77);
    EXPECT_EQ(spy.range, std::make_pair(0, 9));
}

// ---- input: the read-ahead buffer ----

TEST_F(SocketInputStreamTest, ReadBuffer_AppendsAndTellsWhatIsHeld) {
    readAhead("abc");
    EXPECT_EQ(Inside::buffered(*in), 3);
    EXPECT_EQ(Inside::capacity(*in), 10240);
    EXPECT_EQ(Inside::readAhead(*in)->size(), 10240);
    arrives("defg");
    EXPECT_EQ(in->readBuffer(), 7);
    EXPECT_EQ(text(*Inside::readAhead(*in), 0, 7), "abcdefg");
}

TEST_F(SocketInputStreamTest, ReadBuffer_TakesAKilobyteAtMost) {
    arrives(pattern(1500));
    EXPECT_EQ(in->readBuffer(), 1024);
    EXPECT_EQ(in->readBuffer(), 1500);
    EXPECT_EQ(text(*Inside::readAhead(*in), 0, 1500), pattern(1500));
}

TEST_F(SocketInputStreamTest, ReadBuffer_AtTheEnd_AddsNothing) {
    readAhead("abc");
    peer.close();
    EXPECT_EQ(in->readBuffer(), 0);
    EXPECT_EQ(Inside::buffered(*in), 3);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(SocketInputStreamTest, ReadBuffer_AfterATimeOut_AddsNothing) {
    readAhead("abc");
    Inside::readTimeout(socket) = 0;
    EXPECT_EQ(in->readBuffer(), -1);
    EXPECT_TRUE(socket.isReadTimeout());
    EXPECT_EQ(Inside::buffered(*in), 3);
}

TEST_F(SocketInputStreamTest, ReadBuffer_GrowsWhenAKilobyteMightNotFit) {
    const std::string all = pattern(10240);
    peer.send(all);
    for (int held = 1024; held <= 9216; held += 1024) {
        ASSERT_EQ(in->readBuffer(), held);
        EXPECT_EQ(Inside::capacity(*in), 10240);
    }
    EXPECT_EQ(in->readBuffer(), 10240);
    EXPECT_EQ(Inside::capacity(*in), 20480);
    EXPECT_EQ(Inside::readAhead(*in)->size(), 20480);
    EXPECT_EQ(text(*Inside::readAhead(*in), 0, 10240), all);
}

TEST_F(SocketInputStreamTest, ReadBuffer_GrowsAgainAndAgain) {
    const std::string all = pattern(30 * 1024);
    peer.send(all);
    while (Inside::buffered(*in) < 30 * 1024) ASSERT_GT(in->readBuffer(), 0);
    EXPECT_EQ(Inside::capacity(*in), 40960);
    std::string read;
    while (Inside::buffered(*in) > 0) read += readText(1000);
    EXPECT_EQ(read, all);
}

TEST_F(SocketInputStreamTest, Read_TakesFromTheReadAheadBufferWithoutASystemCall) {
    const std::string all = pattern(300);
    readAhead(all);
    const int calls = Calls::recv.count + Calls::poll.count;
    EXPECT_EQ(readText(100), all.substr(0, 100));
    EXPECT_EQ(Inside::buffered(*in), 200);
    EXPECT_EQ(text(*Inside::readAhead(*in), 0, 200), all.substr(100));
    EXPECT_EQ(readText(200), all.substr(100));
    EXPECT_EQ(Inside::buffered(*in), 0);
    EXPECT_EQ(Calls::recv.count + Calls::poll.count, calls);
}

TEST_F(SocketInputStreamTest, Read_OfMoreThanTheReadAheadBufferHolds_TakesThatOnly) {
    readAhead("ahead");
    arrives("behind");
    EXPECT_EQ(readText(100), "ahead");
    EXPECT_EQ(readText(6), "behind");
}

TEST_F(SocketInputStreamTest, Read_FromTheReadAheadBuffer_WorksOnAClosedSocketAndLeavesTheFlagAlone) {
    readAhead("ahead");
    Inside::readTimeout(socket) = 0;
    ASSERT_EQ(in->readBuffer(), -1);
    socket.close();
    EXPECT_EQ(readText(5), "ahead");
    EXPECT_TRUE(socket.isReadTimeout());
}

TEST_F(SocketInputStreamTest, RawRead_PassesTheReadAheadBufferBy) {
    readAhead("ahead");
    arrives("behind");
    JByte b(6);
    EXPECT_EQ(in->read(b, 0, 6, true), 6);
    EXPECT_EQ(text(b, 0, 6), "behind");
    EXPECT_EQ(Inside::buffered(*in), 5);
    EXPECT_EQ(in->read(b, 0, 0, true), -1);
}

TEST_F(SocketInputStreamTest, ReadAheadBuffer_OutlivesTheConnection) {
    readAhead("former");
    ASSERT_TRUE(socket.connect());
    EXPECT_EQ(readText(6), "former");
}

// ---- input: the receive window ----

TEST_F(SocketInputStreamTest, Read_OfAHeaderAndItsPayload_CostsOneSystemCall) {
    const std::string header(16, 'h');
    const std::string payload = pattern(400);
    arrives(header + payload);
    const int calls = Calls::recv.count + Calls::poll.count;
    EXPECT_EQ(readText(16), header);
    EXPECT_EQ(readText(400), payload);
    EXPECT_EQ(Calls::recv.count + Calls::poll.count, calls + 1);
}

TEST_F(SocketInputStreamTest, Read_OfManyMessagesInOneSegment_CostsOneSystemCall) {
    std::string all;
    for (int i = 0; i < 50; i++) all += std::string(16, 'h') + pattern(i + 1);
    arrives(all);
    const int calls = Calls::recv.count + Calls::poll.count;
    std::string read;
    for (int i = 0; i < 50; i++) {
        read += readText(16);
        read += readText(i + 1);
    }
    EXPECT_TRUE(read == all);
    EXPECT_EQ(Calls::recv.count + Calls::poll.count, calls + 1);
}

TEST_F(SocketInputStreamTest, Read_AcrossTheEndOfTheWindow_IsWhole) {
    arrives("0123456789");
    EXPECT_EQ(readText(4), "0123");
    arrives("abcdef");
    EXPECT_EQ(readText(12), "456789abcdef");
}

TEST_F(SocketInputStreamTest, Read_OfMoreThanAWindow_GoesStraightToItsPlace) {
    arrives(pattern(WINDOW));
    EXPECT_EQ(readText(WINDOW), pattern(WINDOW));
    EXPECT_FALSE(Inside::hasWindow(*in));
}

TEST_F(SocketInputStreamTest, Read_InAnySizes_BringsEveryByteInOrder) {
    const std::string all = pattern(2000000);
    Thread sender([&] {
        std::mt19937 random(1);
        for (size_t sent = 0; sent < all.size();) {
            const size_t n = std::min<size_t>(random() % 40000 + 1, all.size() - sent);
            peer.send(all.substr(sent, n));
            sent += n;
        }
        peer.close();
    });
    std::mt19937 random(2);
    std::string read;
    for (std::string some = "-"; !some.empty(); read += some) {
        if (random() % 10 == 0) in->readBuffer();
        some = readText(static_cast<int>(random() % 20000 + 1));
    }
    EXPECT_EQ(read.size(), all.size());
    EXPECT_TRUE(read == all);
}

TEST_F(SocketInputStreamTest, Read_OfTheNextConnection_SeesNothingOfTheFormerOne) {
    arrives("header, rest of the former connection");
    EXPECT_EQ(readText(6), "header");
    ASSERT_TRUE(socket.connect());
    peer = listener.accept();
    EXPECT_EQ(in->available(), 0);
    arrives("fresh");
    EXPECT_EQ(readText(5), "fresh");
}

TEST_F(SocketInputStreamTest, Read_OfAClosedSocket_DoesNotReachIntoTheWindow) {
    arrives("header, rest");
    EXPECT_EQ(readText(6), "header");
    socket.close();
    EXPECT_EQ(in->available(), 0);
    EXPECT_EQ(readOne(), -1);
}

// ---- input: available ----

TEST_F(SocketInputStreamTest, Available_CountsTheSystemsBytes) {
    EXPECT_EQ(in->available(), 0);
    arrives("abc");
    EXPECT_EQ(in->available(), 3);
}

TEST_F(SocketInputStreamTest, Available_SumsUpAllThatIsThere) {
    arrives(pattern(300) + pattern(50));
    JByte b(10);
    ASSERT_EQ(in->read(b), 10);  // the other 340 wait in the window
    EXPECT_EQ(waiting(), 0);
    EXPECT_EQ(in->available(), 340);
    ASSERT_EQ(in->readBuffer(), 340);
    arrives("0123456789");
    ASSERT_EQ(in->read(b, 0, 4, true), 4);
    arrives("more");
    EXPECT_EQ(in->available(), 340 + 6 + 4);
    ASSERT_EQ(readText(100).size(), 100U);
    EXPECT_EQ(in->available(), 240 + 6 + 4);
}

TEST_F(SocketInputStreamTest, Available_OfAClosedSocket_IsTheReadAheadBuffer) {
    readAhead("abc");
    arrives("def");
    socket.close();
    EXPECT_EQ(in->available(), 3);
}

TEST(JSocketInputStreamTest, Available_WhenTheSystemCannotTell_CountsNothing) {
    JSocket socket(open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(socket.getInputStream()->available(), 0);
}

TEST_F(SocketInputStreamTest, UnderADataStream_ReadsFully) {
    Thread sender([this] {
        for (char c = 'a'; c <= 'j'; c++) peer.send(std::string(1000, c));
    });
    JDataInputStream data(in);
    JByte b(10000);
    EXPECT_EQ(data.readFully(b), 10000);
    EXPECT_EQ(text(b, 8999, 2), "ij");
}

// ---- output ----

TEST_F(JSocketOutputStreamTest, HasTheClassRecordOfOutputStreams) {
    EXPECT_EQ(out->getClass(), &JOutputStream::classJOutputStream);
    EXPECT_EQ(Inside::owner(*out), &socket);
}

TEST_F(JSocketOutputStreamTest, Write_SendsEverythingAndReturnsZero) {
    EXPECT_EQ(writeText(pattern(5000)), 0);
    peer.expect(pattern(5000));
}

TEST_F(JSocketOutputStreamTest, Write_OfWhatFits_DoesNotWait) {
    const int waits = Calls::poll.count;
    const int sends = Calls::send.count;
    EXPECT_EQ(writeText("abc"), 0);
    EXPECT_EQ(Calls::poll.count, waits);
    EXPECT_EQ(Calls::send.count, sends + 1);
}

TEST_F(JSocketOutputStreamTest, Write_SendsTheRangeOnly) {
    JByte b = bytes("0123456789");
    EXPECT_EQ(out->write(b, 2, 3), 0);
    EXPECT_EQ(out->write(b, 8, 5), 0);
    EXPECT_EQ(out->write(b, 9, INT_MAX), 0);
    peer.expect("234899");
    peer.expectNothing();
}

TEST_F(JSocketOutputStreamTest, Write_OfNothing_SucceedsEvenOnAClosedSocket) {
    socket.close();
    JByte b(10);
    JByte empty;
    EXPECT_EQ(out->write(b, 0, 0), 0);
    EXPECT_EQ(out->write(b, 0, -1), 0);
    EXPECT_EQ(out->write(b, 10, 1), 0);
    EXPECT_EQ(out->write(b, INT_MAX, INT_MAX), 0);
    EXPECT_EQ(out->write(empty), 0);
}

TEST_F(JSocketOutputStreamTest, Write_FromBeforeTheBlock_SendsNothing) {
    JByte b = bytes("0123456789");
    EXPECT_EQ(out->write(b, -1, 5), 0);
    EXPECT_EQ(out->write(b, INT_MIN, INT_MAX), 0);
    EXPECT_EQ(writeText("next"), 0);
    peer.expect("next");
}

TEST_F(JSocketOutputStreamTest, WriteFrom_SendsPlainMemory_AndNothingOfNothing) {
    const std::string all = pattern(5000);
    EXPECT_EQ(out->writeFrom(all.data(), 5000), 0);
    EXPECT_EQ(out->writeFrom(all.data(), 0), 0);
    EXPECT_EQ(out->writeFrom(nullptr, -1), 0);
    peer.expect(all);
    socket.close();
    EXPECT_EQ(out->writeFrom(all.data(), 1), -1);
}

TEST_F(JSocketOutputStreamTest, WriteOfAByte_SendsItsLowBits) {
    EXPECT_EQ(out->write(0x1FF), 0);
    EXPECT_EQ(out->write(-2), 0);
    peer.expect("\xFF\xFE");
}

TEST_F(JSocketOutputStreamTest, WriteOfAByte_OrOfABlock_GoesThroughTheVirtualWrite) {
    SpyOutput spy(&socket);
    EXPECT_EQ(spy.write('q'), 42);
    EXPECT_EQ(spy.block, "q");
    EXPECT_EQ(spy.range, std::make_pair(0, 1));
    JByte b = bytes("block");
    EXPECT_EQ(spy.write(b), 42);
    EXPECT_EQ(spy.block, "block");
    EXPECT_EQ(spy.range, std::make_pair(0, 5));
}

TEST_F(JSocketOutputStreamTest, Flush_DoesNothing) {
    EXPECT_EQ(out->flush(), 0);
    peer.expectNothing();
}

TEST_F(JSocketOutputStreamTest, Close_ClosesTheSocket) {
    EXPECT_EQ(out->close(), -1);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(JSocketOutputStreamTest, Write_WaitsForAPeerThatReadsSlowly) {
    const std::string all = pattern(8000000);
    Thread receiver([&] { EXPECT_TRUE(peer.receive(all.size()) == all); });
    EXPECT_EQ(writeText(all), 0);
}

TEST_F(JSocketOutputStreamTest, Write_ThatIsNotTakenInTime_TimesOutAndLeavesTheSocketOpen) {
    fillTheWay();
    Inside::writeTimeout(socket) = 0;
    EXPECT_EQ(writeALot(), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_TRUE(socket.isWriteTimeout());
    EXPECT_TRUE(socket.isConnected());
    EXPECT_TRUE(isOpen(number()));
}

TEST_F(JSocketOutputStreamTest, Write_ToADescriptorThatBlocks_TimesOutAllTheSame) {
    fillTheWay();
    fcntl(number(), F_SETFL, 0);
    Inside::writeTimeout(socket) = 0;
    EXPECT_EQ(writeALot(), -1);
    EXPECT_TRUE(socket.isWriteTimeout());
}

TEST(JSocketOutputStreamSlowTest, Write_ToAPeerThatDoesNotRead_TimesOutAfterTenSeconds) {
    net::Listener listener;
    JSocket socket(net::LOOPBACK, listener.port());
    ASSERT_TRUE(socket.connect());
    net::Peer peer = listener.accept();
    JByte b(1 << 20);
    std::memset(static_cast<char*>(b), '#', static_cast<size_t>(b.size()));
    long long took = 0;
    int result = 0;
    for (int i = 0; i < 1000 && result == 0; i++) {
        const net::Stopwatch watch;
        result = socket.getOutputStream()->write(b);
        took = watch.ms();
    }
    EXPECT_EQ(result, -1);
    EXPECT_GE(took, 9990);
    EXPECT_LT(took, 10000 + net::LATE_MS);
    EXPECT_TRUE(socket.isWriteTimeout());
    EXPECT_TRUE(socket.isConnected());
}

TEST_F(JSocketOutputStreamTest, Write_AfterATimeOut_TakesTheFlagBack) {
    fillTheWay();
    Inside::writeTimeout(socket) = 0;
    ASSERT_EQ(writeALot(), -1);
    Thread receiver([this] { peer.drain(); });
    Inside::writeTimeout(socket) = 10;
    EXPECT_EQ(writeText("more"), 0);
    EXPECT_FALSE(socket.isWriteTimeout());
    socket.close();
}

TEST_F(JSocketOutputStreamTest, Write_OfSomethingWritableThatIsNot_PausesForASecond) {
    Calls::send.fail(2, EAGAIN);
    const net::Stopwatch watch;
    EXPECT_EQ(writeText("abc"), 0);
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 1000 + net::LATE_MS);
    peer.expect("abc");
}

TEST_F(JSocketOutputStreamTest, Write_ThatSucceeds_LeavesErrnoAsItWas) {
    errno = ENOSPC;
    Calls::send.fail(1, EAGAIN);
    Calls::poll.fail(1, EINTR);
    EXPECT_EQ(writeText("abc"), 0);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(JSocketOutputStreamTest, Write_GoesOnAfterASignal) {
    fillTheWay();
    Waiter writer([this] { return writeALot(); });
    ASSERT_TRUE(writer.hangUpRepeatedly());
    Thread receiver([this] { peer.drain(); });
    writer.thread.join();
    EXPECT_EQ(writer.result, 0);
    socket.close();
}

TEST_F(JSocketOutputStreamTest, Write_OfAThreadThatIsInterrupted_FailsAndClosesTheSocket) {
    fillTheWay();
    Waiter writer([this] { return writeALot(); });
    ASSERT_TRUE(writer.waits());
    writer.interrupt();
    writer.thread.join();
    EXPECT_EQ(writer.result, -1);
    EXPECT_FALSE(socket.isWriteTimeout());
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(JSocketOutputStreamTest, Write_ToAPeerThatHasGone_FailsWithoutASignal) {
    struct sigaction action {};
    sigaction(SIGPIPE, nullptr, &action);
    ASSERT_EQ(action.sa_handler, SIG_DFL) << "the signal would end this program";
    peer.reset();
    EXPECT_EQ(writeText("abc"), -1);
    EXPECT_FALSE(socket.isConnected());
    EXPECT_EQ(writeText("abc"), -1);
    EXPECT_FALSE(socket.isWriteTimeout());
}

TEST_F(JSocketOutputStreamTest, Write_WhileThePeerGoes_FailsWithoutASignal) {
    fillTheWay();
    Waiter writer([this] { return writeALot(); });
    ASSERT_TRUE(writer.waits());
    peer.close();  // with unread bytes: the connection is reset
    writer.thread.join();
    EXPECT_EQ(writer.result, -1);
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(JSocketOutputStreamTest, Write_OfAClosedSocketAfterATimeOut_IsNoTimeOut) {
    fillTheWay();
    Inside::writeTimeout(socket) = 0;
    ASSERT_EQ(writeALot(), -1);
    ASSERT_TRUE(socket.isWriteTimeout());
    socket.close();
    EXPECT_EQ(writeText("x"), -1);
    EXPECT_FALSE(socket.isWriteTimeout());
}

TEST_F(JSocketOutputStreamTest, Write_Cancelled_LeavesNothingHeld) {
    fillTheWay();
    const int before = number();
    Thread writer([this] { writeALot(); });
    ASSERT_TRUE(writer.fallsAsleep());
    writer.cancel();
    EXPECT_TRUE(writer.join());
    EXPECT_TRUE(socket.isConnected());
    socket.close();
    EXPECT_FALSE(isOpen(before));
}

TEST_F(JSocketOutputStreamTest, Write_BesideARead_UsesTheSocketInBothDirectionsAtOnce) {
    const std::string all = pattern(3000000);
    Thread echo([&] {
        for (size_t echoed = 0; echoed < all.size();) {
            char some[10000];
            const ssize_t n = ::recv(peer.fd(), some, sizeof some, 0);
            if (n <= 0) return;
            peer.send(std::string(some, static_cast<size_t>(n)));
            echoed += static_cast<size_t>(n);
        }
    });
    Thread writer([&] { EXPECT_EQ(writeText(all), 0); });
    JByte b(static_cast<int>(all.size()));
    JDataInputStream data(in);
    EXPECT_EQ(data.readFully(b), b.size());
    EXPECT_TRUE(text(b, 0, b.size()) == all);
}
