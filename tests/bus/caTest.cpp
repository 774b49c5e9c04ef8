#include "bus/ca.h"

#include <atomic>
#include <climits>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bus/Bytes.h"
#include "bus/CA.h"
#include "bus/Server.h"
#include "net/Peer.h"
#include "support/Stderr.h"
#include "support/Thread.h"
#include "system/JSystem.h"

using bus::BROADCAST;
using bus::Client;
using bus::hex;
using bus::SYNC;
using bus::TIMED;
using bus::to;
using bus::unhex;
using bus::Wire;
using support::eventually;

namespace {

const std::string UNKNOWN_HOST(64, 'a');  // a label of a host name has 63 characters at most

constexpr int MOST = 65535;

/** A handle that is closed at the end of its scope. */
class Handle {
public:
    explicit Handle(ca_handle h) : handle_(h) {}
    Handle(int id, int port) : Handle(ca_open(id, "127.0.0.1", port)) {}
    ~Handle() { close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    void close() { ca_close(std::exchange(handle_, nullptr)); }
    operator ca_handle() const { return handle_; }
    CA* client() const { return static_cast<CA*>(handle_); }

private:
    ca_handle handle_;
};

/** Writes a message; returns the buffer as ca_write() leaves it. */
std::string write(ca_handle h, std::string bytes) {
    const int n = static_cast<int>(bytes.size());
    EXPECT_EQ(ca_write(h, &bytes[0], n), n);
    return bytes;
}
Wire write(ca_handle h, const Wire& w) {
    return Wire::parse(write(h, w.bytes()));
}

/** What a read or a peek puts into a buffer of `size` bytes. */
std::string taken(int (*function)(ca_handle, void*, int), ca_handle h, int size) {
    std::string buffer(static_cast<std::size_t>(std::max(size, 0)) + 4, '#');
    const int n = function(h, &buffer[0], size);
    EXPECT_LE(n, std::max(size, 0));
    EXPECT_EQ(buffer.substr(static_cast<std::size_t>(n)),
              std::string(buffer.size() - static_cast<std::size_t>(n), '#'));
    return buffer.substr(0, static_cast<std::size_t>(n));
}
std::string read(ca_handle h, int size = MOST) {
    return taken(ca_read, h, size);
}
std::string peek(ca_handle h, int size = MOST) {
    return taken(ca_peek, h, size);
}

/** Reads until a message is there, as a program in C does. */
Wire next(ca_handle h) {
    std::string bytes;
    EXPECT_TRUE(eventually([&] { return !(bytes = read(h)).empty(); }));
    return Wire::parse(bytes);
}

Wire complete(const Wire& w) {
    return Wire::parse(Wire(w).claims(static_cast<int>(w.bytes().size())).bytes());
}

unsigned now() {
    return static_cast<unsigned>(JSystem::getMilliseconds() & 0x7FFFFFFF);
}

/** Client 5 and, in place of a server, the other end of its connection. */
class ConnectedCaTest : public testing::Test {
protected:
    /** Delivers messages and waits until they can be read. */
    void deliver(std::initializer_list<Wire> messages) {
        for (const Wire& w : messages) server.send(w);
        for (std::size_t n = 0; n < messages.size(); n++) EXPECT_GT(handle.client()->wait(30000), 0);
    }

    net::Listener listener;
    Handle handle{5, listener.port()};
    Client server{listener.accept()};
    Wire greeting = server.receive();
};

}  // namespace

// ---- open ----

TEST_F(ConnectedCaTest, Open_ConnectsAndGreets) {
    EXPECT_NE(handle, nullptr);
    EXPECT_LE(now() - greeting.stamp, 30000U);
    EXPECT_EQ(greeting, to(0).from(5).stamped(greeting.stamp));
    server.expectNothing();
}

TEST_F(ConnectedCaTest, Open_StartsTheReadingThread) {
    deliver({to(5).from(7)});
    EXPECT_EQ(read(handle), to(5).from(7).bytes());
}

TEST(CaTest, Open_GivesAHandleWhateverComesOfIt) {
    struct {
        int id;
        const char* host;
        int port;
    } const clients[] = {
        {5, "127.0.0.1", net::freePort()},
        {5, "127.0.0.1", 0},
        {5, UNKNOWN_HOST.c_str(), 7000},
        {5, "", 7000},
        {5, nullptr, 7000},
        {-1, "127.0.0.1", -1},
        {INT_MIN, nullptr, INT_MIN},
        {INT_MAX, "", INT_MAX},
    };
    for (const auto& c : clients) {
        const Handle handle(ca_open(c.id, c.host, c.port));
        ASSERT_NE(handle, nullptr);
        write(handle, to(7).from(5));
        EXPECT_EQ(read(handle), "");
        EXPECT_EQ(peek(handle), "");
        ca_next(handle);
    }
}

TEST_F(ConnectedCaTest, Open_TakesACopyOfTheHostName) {
    std::string host = "127.0.0.1";
    const Handle other(ca_open(6, host.c_str(), listener.port()));
    host.assign(host.size(), 'x');
    Client second(listener.accept());
    EXPECT_EQ(second.receive().src, 6);
}

// ---- null ----

TEST(CaTest, NullHandle_GivesMinus1OrNothing) {
    char buffer[32] = {};
    for (void* buf : {static_cast<void*>(buffer), static_cast<void*>(nullptr)}) {
        for (const int n : {INT_MIN, -1, 0, 7, 8, 32}) {
            EXPECT_EQ(ca_write(nullptr, buf, n), -1);
            EXPECT_EQ(ca_read(nullptr, buf, n), -1);
            EXPECT_EQ(ca_peek(nullptr, buf, n), -1);
        }
    }
    ca_next(nullptr);
    ca_close(nullptr);
}

TEST_F(ConnectedCaTest, NullBuffer_IsNotWrittenTo) {
    deliver({to(5).says("kept")});
    EXPECT_EQ(ca_write(handle, nullptr, 16), 0);
    EXPECT_EQ(ca_read(handle, nullptr, 100), 0);
    EXPECT_EQ(ca_peek(handle, nullptr, 100), 0);
    EXPECT_EQ(next(handle).payload, "kept");
    server.expectNothing();
}

// ---- write ----

TEST_F(ConnectedCaTest, Write_OfLessThan8Bytes_SendsNothing) {
    std::string bytes(16, 'x');
    for (const int n : {INT_MIN, -1, 0, 1, 7}) EXPECT_EQ(ca_write(handle, &bytes[0], n), 0);
    EXPECT_EQ(bytes, std::string(16, 'x'));
    write(handle, to(7).says("the first that is sent"));
    EXPECT_EQ(server.receive().payload, "the first that is sent");
}

TEST_F(ConnectedCaTest, Write_Of8To15Bytes_SendsThemAsTheyAreWithTheirLength) {
    const std::string given = unhex("ff ff 07 00 05 00 00 01 aa aa aa aa bb bb bb bb");
    for (std::size_t n = 8; n < 16; n++) {
        std::string bytes = given;
        const unsigned before = now();
        EXPECT_EQ(ca_write(handle, &bytes[0], static_cast<int>(n)), static_cast<int>(n));
        const std::string sent = server.net::Peer::receive(n);
        EXPECT_EQ(hex(bytes), hex(sent + given.substr(n)));
        EXPECT_EQ(hex(sent.substr(0, 8)), hex(static_cast<char>(n) + unhex("00 07 00 05 00 00 01")));
        EXPECT_TRUE(n < 12 || Wire::parse(sent).stamp - before <= 30000U);
    }
    server.expectNothing();
}

TEST_F(ConnectedCaTest, Write_FillsInTheLengthAndTheTimeStamp) {
    const unsigned before = now();
    const Wire w =
        to(7).from(5).flagged(BROADCAST).urgency(3).about(0x01020304).claims(999).stamped(0xFFFFFFFF);
    const Wire sent = write(handle, Wire(w).says("hello"));
    EXPECT_LE(sent.stamp - before, 30000U);
    EXPECT_EQ(sent, Wire(w).says("hello").claims(21).stamped(sent.stamp));
    server.expect(sent);
}

TEST_F(ConnectedCaTest, Write_LeavesTheTimeOutOfATimedMessage) {
    const Wire w = to(7).from(5).flagged(TIMED | SYNC).stamped(3000);
    EXPECT_EQ(write(handle, w), complete(w));
    server.expect(w);
}

TEST_F(ConnectedCaTest, Write_SendsMessagesOfEveryLength) {
    for (const int n : {16, 17, 255, 256, 257, 4096, 65534, MOST}) {
        const Wire w = to(7).from(5).says(net::pattern(n - 16));
        Wire sent;
        support::Thread writer([&] { sent = write(handle, w); });
        const Wire got = server.receive();
        writer.join();
        EXPECT_EQ(got.length, n);
        EXPECT_TRUE(got == sent);
        EXPECT_TRUE(got.payload == w.payload);
    }
}

TEST_F(ConnectedCaTest, Write_OfMoreThan65535Bytes_SaysSoButSendsNothing) {
    for (const int n : {MOST + 1, 100000}) {
        const std::string back = write(handle, to(7).says(net::pattern(n - 16)).bytes());
        EXPECT_TRUE(back.substr(16) == net::pattern(n - 16));
    }
    write(handle, to(7).says("the first that is sent"));
    EXPECT_EQ(server.receive().payload, "the first that is sent");
}

TEST_F(ConnectedCaTest, Write_WithoutAConnection_SaysSoAndFillsTheHeaderIn) {
    server.close();
    EXPECT_TRUE(eventually([&] { return !handle.client()->isConnected(); }));
    const unsigned before = now();
    const Wire sent = write(handle, to(7).from(5).says("lost"));
    EXPECT_LE(sent.stamp - before, 30000U);
    EXPECT_EQ(sent, complete(to(7).from(5).says("lost").stamped(sent.stamp)));
}

// ---- read ----

TEST_F(ConnectedCaTest, Read_GivesTheWholeMessageFromItsHeaderOn) {
    const Wire w = to(5).from(7).flagged(1).urgency(0).stamped(5).about(9).says("hello");
    deliver({w});
    EXPECT_EQ(hex(read(handle)), hex(w.bytes()));
    EXPECT_EQ(read(handle), "");
}

TEST_F(ConnectedCaTest, Read_IntoASmallBuffer_CutsTheMessageAndLosesItsRest) {
    const std::string bytes = to(5).says("1234").bytes();
    for (const int size : {10, 1, 16, 19, 20, 21, 0, -1, INT_MIN}) {
        deliver({to(5).says("1234"), to(5).says("next")});
        EXPECT_EQ(hex(read(handle, size)), hex(bytes.substr(0, static_cast<std::size_t>(std::max(size, 0)))));
        EXPECT_EQ(Wire::parse(read(handle)).payload, "next");
        EXPECT_EQ(read(handle), "");
    }
}

TEST_F(ConnectedCaTest, Read_GivesAMessageOf65535Bytes) {
    const Wire w = to(5).says(net::pattern(MOST - 16));
    deliver({w});
    EXPECT_TRUE(read(handle) == w.bytes());
}

TEST_F(ConnectedCaTest, Read_TellsTheTrueLengthOfAMessageThatClaimsLess) {
    deliver({to(5).claims(3)});
    EXPECT_EQ(Wire::parse(read(handle)).length, 16);
}

TEST_F(ConnectedCaTest, Read_TakesTheBandsInTurn) {
    deliver({to(5).urgency(0).about(1), to(5).urgency(0).about(2), to(5).urgency(1).about(3),
             to(5).urgency(5).about(4)});
    for (const unsigned number : {1U, 3U, 4U, 2U}) EXPECT_EQ(Wire::parse(read(handle)).section, number);
    EXPECT_EQ(read(handle), "");
}

TEST_F(ConnectedCaTest, Read_GivesWhatCameBeforeTheConnectionWasLost) {
    deliver({to(5).says("before")});
    server.close();
    EXPECT_TRUE(eventually([&] { return !handle.client()->isConnected(); }));
    EXPECT_EQ(Wire::parse(read(handle)).payload, "before");
    EXPECT_EQ(read(handle), "");
}

// ---- peek and next ----

TEST_F(ConnectedCaTest, Peek_ShowsTheSameMessageUntilItIsRead) {
    const Wire w = to(5).from(7).says("hello");
    deliver({w, to(5).says("next")});
    EXPECT_EQ(hex(peek(handle)), hex(w.bytes()));
    EXPECT_EQ(hex(peek(handle)), hex(w.bytes()));
    EXPECT_EQ(hex(read(handle)), hex(w.bytes()));
    EXPECT_EQ(Wire::parse(peek(handle)).payload, "next");
}

TEST_F(ConnectedCaTest, Peek_IntoASmallBuffer_LosesNothing) {
    const std::string bytes = to(5).says("1234").bytes();
    deliver({to(5).says("1234")});
    for (const int size : {10, 1, 16, 0, -1, INT_MIN, 20, 21})
        EXPECT_EQ(hex(peek(handle, size)), hex(bytes.substr(0, static_cast<std::size_t>(std::max(size, 0)))));
    EXPECT_EQ(hex(read(handle)), hex(bytes));
}

TEST_F(ConnectedCaTest, Next_PassesOverTheBandAndRemovesNothing) {
    deliver({to(5).urgency(0).about(1), to(5).urgency(1).about(2), to(5).urgency(2).about(3)});
    for (const unsigned number : {1U, 2U, 3U, 1U}) {
        EXPECT_EQ(Wire::parse(peek(handle)).section, number);
        ca_next(handle);
    }
    for (const unsigned number : {2U, 3U, 1U}) EXPECT_EQ(Wire::parse(read(handle)).section, number);
}

TEST_F(ConnectedCaTest, Next_BeforeAReadStartsItAtTheFollowingBand) {
    deliver({to(5).urgency(0).about(1), to(5).urgency(1).about(2)});
    ca_next(handle);
    EXPECT_EQ(Wire::parse(read(handle)).section, 2U);
    EXPECT_EQ(Wire::parse(read(handle)).section, 1U);
}

// ---- close ----

TEST_F(ConnectedCaTest, Close_WhileTheReaderWaits_EndsItAndTheConnection) {
    support::Thread serving([this] {
        server.expectClosed();
        server.close();
    });
    const net::Stopwatch watch;
    handle.close();
    EXPECT_LT(watch.ms(), bus::PROMPT_MS);
}

TEST(CaTest, Close_OfAClientWithoutAConnection_EndsItsThread) {
    const int threads = bus::runningThreads();
    const net::Stopwatch watch;
    Handle(ca_open(5, UNKNOWN_HOST.c_str(), 7000)).close();
    EXPECT_LT(watch.ms(), bus::PROMPT_MS);
    EXPECT_TRUE(eventually([&] { return bus::runningThreads() == threads; }));
}

TEST_F(ConnectedCaTest, Close_WhileMessagesArrive_EndsTheConnectionAndItsThread) {
    const int threads = bus::runningThreads();
    std::atomic<bool> ended{false};
    support::Thread sender([&] {
        const std::string some = to(5).says(std::string(100, '#')).bytes();
        while (::send(server.fd(), some.data(), some.size(), MSG_NOSIGNAL) > 0) {
        }
        ended = true;
    });
    next(handle);
    handle.close();
    EXPECT_TRUE(eventually([&] { return ended.load(); }));
    sender.join();
    EXPECT_TRUE(eventually([&] { return bus::runningThreads() == threads - 1; }));
}

TEST(CaTest, OpenAndClose_LeaveNoThreadAndNoDescriptorBehind) {
    net::Listener listener;
    const int threads = bus::runningThreads();
    const int descriptors = net::openDescriptors();
    for (int i = 0; i < 20; i++) {
        const Handle handle(5, listener.port());
        Client server(listener.accept());
        server.receive();
        server.send(to(5));
        next(handle);
        server.send(to(5));
    }
    EXPECT_EQ(net::openDescriptors(), descriptors);
    EXPECT_TRUE(eventually([&] { return bus::runningThreads() == threads; }));
}

// ---- dump ----

TEST(CaTest, Dump_IsTheHexDumpOfTheDebugOutput) {
    const char bytes[] = "0123456789abcdef\n\xff";
    support::StderrPipe err;
    JSystem::dump(bytes, 18);
    const std::string expected = err.text();
    ca_dump(bytes, 18);
    EXPECT_EQ(err.text(), expected);
    EXPECT_NE(expected.find("30 31 32"), std::string::npos);
}

TEST(CaTest, Dump_OfNothingIsAnEmptyLine) {
    support::StderrPipe err;
    ca_dump(nullptr, 5);
    ca_dump("abc", 0);
    ca_dump("abc", -1);
    EXPECT_EQ(err.text(), "\n\n\n");
}

TEST(CaTest, Dump_PrintsOnlyWhileDebugOutputIsOn) {
    support::StderrPipe err;
    JSystem::debug(false);
    ca_dump("abc", 3);
    JSystem::debug(true);
    EXPECT_EQ(err.text(), "");
}

// ---- threads ----

TEST_F(ConnectedCaTest, Writers_NeverMixTheirMessages) {
    constexpr unsigned WRITERS = 4;
    constexpr unsigned EACH = 500;
    std::vector<std::unique_ptr<support::Thread>> writers;
    for (unsigned w = 0; w < WRITERS; w++) {
        writers.emplace_back(new support::Thread([this, w] {
            for (unsigned i = 0; i < EACH; i++)
                write(handle, to(7)
                                  .from(static_cast<int>(w))
                                  .about(i)
                                  .says(std::string(i, static_cast<char>('a' + w))));
        }));
    }
    std::vector<unsigned> expected(WRITERS, 0);
    for (unsigned n = 0; n < WRITERS * EACH; n++) {
        const Wire got = server.receive();
        ASSERT_LT(got.src, static_cast<int>(WRITERS));
        unsigned& i = expected[static_cast<std::size_t>(got.src)];
        ASSERT_EQ(got.section, i);
        ASSERT_EQ(got.payload, std::string(i, static_cast<char>('a' + got.src)));
        i++;
    }
}

TEST_F(ConnectedCaTest, Readers_ShareTheMessagesWhileOthersPeekAndMoveOn) {
    constexpr unsigned COUNT = 2000;
    std::atomic<unsigned> total{0};
    std::vector<std::atomic<int>> seen(COUNT);
    const auto reader = [&] {
        while (total < COUNT) {
            const std::string bytes = read(handle, 100);
            if (bytes.empty()) continue;
            seen[Wire::parse(bytes).section]++;
            total++;
        }
    };
    const auto onlooker = [&] {
        while (total < COUNT) {
            const std::string bytes = peek(handle, 100);
            EXPECT_TRUE(bytes.empty() || Wire::parse(bytes).payload == "payload");
            ca_next(handle);
        }
    };
    const auto writer = [&] {
        while (total < COUNT) write(handle, to(7).from(5));
    };
    std::vector<std::unique_ptr<support::Thread>> threads;
    for (const std::function<void()>& body :
         std::vector<std::function<void()>>{reader, reader, onlooker, onlooker, writer})
        threads.emplace_back(new support::Thread(body));
    support::Thread drain([&] {
        char some[4096];
        while (total < COUNT) ::recv(server.fd(), some, sizeof some, MSG_DONTWAIT);
    });
    for (unsigned i = 0; i < COUNT; i++)
        server.send(to(5).urgency(static_cast<int>(i % 4)).about(i).says("payload"));
    threads.clear();
    for (const std::atomic<int>& times : seen) ASSERT_EQ(times, 1);
}

// ---- with a server ----

namespace {

constexpr int TIMES = 40;
constexpr int EACH = 10;

class CaWithServerTest : public testing::Test {
protected:
    /** A client that the server has taken in. */
    std::unique_ptr<Handle> open(int id) {
        auto handle = std::make_unique<Handle>(id, server.port());
        server.log.expect(bus::listenerLine(id));
        return handle;
    }

    bus::Server server;
};

}  // namespace

TEST_F(CaWithServerTest, Message_TravelsFromClientToClient) {
    const auto five = open(5);
    const auto seven = open(7);
    const Wire sent = write(*five, to(7).from(5).urgency(1).about(77).says("hello"));
    EXPECT_EQ(next(*seven), sent);
    const Wire answer = write(*seven, to(5).from(7).says("hello yourself"));
    EXPECT_EQ(next(*five), answer);
    EXPECT_EQ(read(*five), "");
    EXPECT_EQ(read(*seven), "");
}

TEST_F(CaWithServerTest, MessagesOfAClientThatClosesAtOnce_AllArrive) {
    const auto seven = open(7);
    for (unsigned i = 0; i < TIMES; i++) {
        const Handle five(5, server.port());
        for (unsigned n = 0; n < EACH; n++) write(five, to(7).from(5).about(i * EACH + n));
    }
    for (unsigned i = 0; i < TIMES * EACH; i++) ASSERT_EQ(next(*seven).section, i);
}

TEST_F(CaWithServerTest, LongestMessage_TravelsFromClientToClient) {
    const auto five = open(5);
    const auto seven = open(7);
    const Wire sent = write(*five, to(7).from(5).says(net::pattern(MOST - 16)));
    EXPECT_TRUE(next(*seven) == sent);
}

TEST_F(CaWithServerTest, Message_ToItself_ComesBack) {
    const auto five = open(5);
    const Wire sent = write(*five, to(5).from(5).says("note"));
    EXPECT_EQ(next(*five), sent);
}

TEST_F(CaWithServerTest, Broadcast_ReachesTheOthersAsTheirsWithoutTheFlag) {
    const auto one = open(1);
    const auto two = open(2);
    const auto three = open(3);
    const Wire sent = write(*one, to(0).from(1).flagged(BROADCAST).says("all"));
    EXPECT_EQ(next(*two), Wire(sent).to(2).flagged(0));
    EXPECT_EQ(next(*three), Wire(sent).to(3).flagged(0));
    EXPECT_EQ(read(*one), "");
}

TEST_F(CaWithServerTest, MessageForAClientThatIsNotThere_WakesClient0AndIsKept) {
    const auto zero = open(0);
    const auto five = open(5);
    const Wire sent = write(*five, to(9).from(5).says("later"));
    EXPECT_EQ(next(*zero), complete(bus::wakeUp(9, 5)));
    const auto nine = open(9);
    EXPECT_EQ(next(*nine), sent);
}

TEST_F(CaWithServerTest, MessageOf8Bytes_TakesTheRestOfItsHeaderFromTheNext) {
    const auto five = open(5);
    const auto seven = open(7);
    std::string start = to(7).from(5).bytes().substr(0, 8);
    EXPECT_EQ(ca_write(*five, &start[0], 8), 8);
    std::string rest = to(0x1234).from(0x5678).bytes();
    EXPECT_EQ(ca_write(*five, &rest[0], 16), 16);
    const Wire got = next(*seven);
    EXPECT_EQ(got, complete(to(7).from(5).stamped(0x12340010).about(0x00005678)));
}
