#include "bus/CA.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <sys/ioctl.h>
#include <vector>

#include "bus/Server.h"
#include "support/CAPeer.h"

using Inside = jay::detail::CAPeer;
using bus::BROADCAST;
using bus::Client;
using bus::PROMPT_MS;
using bus::Server;
using bus::SYNC;
using bus::TIMED;
using bus::to;
using bus::Wire;
using jay::detail::JSocketPeer;
using support::eventually;

namespace {

const std::string UNKNOWN_HOST(64, 'a');  // a label of a host name has 63 characters at most

/** How long the end of a client takes at most: a second for a server that does not close its side, another one for one
 * that does not even take what was sent, and some more on a loaded machine. */
constexpr long long CLOSING_MS = 2000 + PROMPT_MS;

unsigned stampOf(long long ms) {
    return static_cast<unsigned>(ms & 0x7FFFFFFF);
}

int put(CA& client, const Wire& w) {
    M m = bus::message(w);
    return client.put(m);
}

Wire get(CA& client) {
    const std::unique_ptr<M> m(client.get());
    return m != nullptr ? bus::wire(*m) : Wire().claims(0);
}

/** Waits for a message and takes it. */
Wire next(CA& client) {
    EXPECT_GT(client.wait(30000), 0);
    return get(client);
}

/** What Wire is when it has come over the wire. */
Wire received(Wire w) {
    return w.claims(static_cast<int>(w.bytes().size()));
}

/** Counts how many of it are deleted. */
class FreedMessage : public M {
public:
    explicit FreedMessage(int& count) : count_(count) {}
    ~FreedMessage() override { count_++; }

private:
    int& count_;
};

std::atomic<int> calls{0};
std::atomic<unsigned> seen{0};

/** Client 5 and a server that is nothing but the other end of its connection. */
class CAWithListenerTest : public testing::Test {
protected:
    void connect() {
        ca->start();
        ASSERT_NE(ca->connect(), 0);
        server = Client(listener.accept());
        greeting = server.receive();
    }

    /** Delivers a message and waits until it can be taken. */
    void deliver(const Wire& w) {
        server.send(w);
        EXPECT_GT(ca->wait(30000), 0);
    }

    /** Waits until the client has taken in what was sent. */
    void expectTaken() {
        EXPECT_TRUE(eventually([&] {
            int waiting = -1;
            return ioctl(Inside::number(*ca), FIONREAD, &waiting) == 0 && waiting == 0;
        }));
    }

    /** Puts messages into the bands as if they had come, numbered in their sections. */
    void fill(std::initializer_list<int> priorities) {
        unsigned n = 0;
        for (const int priority : priorities) {
            Inside::sortIn(*ca, new M(bus::message(to(5).urgency(priority).about(n++))));
        }
    }

    /** A thread that writes until the server, which does not read, holds it up. */
    std::unique_ptr<support::Thread> blockedWriter() {
        const int small = 4096;
        Inside::socket(*ca).setSendBufferSize(small);
        auto writer = std::make_unique<support::Thread>([client = ca.get()] {
            const Wire some = to(7).from(5).says(std::string(60000, '#'));
            while (put(*client, some) == 1) continue;
        });
        EXPECT_TRUE(eventually([&] { return !Inside::isFree(*ca) && isStuck(); }));
        return writer;
    }
    /** Whether the system takes nothing more, and goes on taking nothing for a moment. */
    bool isStuck() const {
        pollfd entry{Inside::number(*ca), POLLOUT, 0};
        return ::poll(&entry, 1, 500) == 0;
    }

    long long destroy() {
        const net::Stopwatch watch;
        ca.reset();
        return watch.ms();
    }

    net::Listener listener;
    std::unique_ptr<CA> ca = std::make_unique<CA>(5, "127.0.0.1", listener.port());
    Client server;
    Wire greeting;
};

// ---- construction ----

TEST_F(CAWithListenerTest, Constructor_ConnectsAndStartsNothing) {
    EXPECT_EQ(Inside::id(*ca), 5);
    EXPECT_STREQ(Inside::host(*ca), "127.0.0.1");
    EXPECT_EQ(Inside::port(*ca), listener.port());
    EXPECT_EQ(Inside::cursor(*ca), 0u);
    EXPECT_FALSE(Inside::hasCallback(*ca));
    EXPECT_FALSE(Inside::isStopped(*ca));
    EXPECT_FALSE(Inside::isDone(*ca));
    EXPECT_FALSE(ca->isConnected());
    EXPECT_EQ(ca->get(), nullptr);
}

TEST(CATest, Constructor_CopiesTheHost) {
    char host[] = "127.0.0.1";
    CA client(5, host, 1);
    host[0] = 'x';
    EXPECT_STREQ(Inside::host(client), "127.0.0.1");
}

// ---- connect ----

TEST_F(CAWithListenerTest, Connect_SendsTheGreetingFirst) {
    const long long before = JSystem::getMilliseconds();
    connect();
    Wire expected = to(0).from(5).claims(16).stamped(greeting.stamp);
    EXPECT_EQ(greeting, expected);
    EXPECT_LE(greeting.stamp - stampOf(before), 30000u);
    EXPECT_TRUE(ca->isConnected());
    put(*ca, to(7).from(5).flagged(TIMED));
    server.expect(to(7).from(5).flagged(TIMED));
}

TEST_F(CAWithListenerTest, Connect_SwitchesDelayOff_AndWakesTheReader) {
    connect();
    EXPECT_EQ(net::option(Inside::number(*ca), IPPROTO_TCP, 1 /* TCP_NODELAY */), 1);
    deliver(to(5).says("hello"));
    EXPECT_EQ(get(*ca), received(to(5).says("hello")));
}

TEST_F(CAWithListenerTest, Connect_BeforeTheStart_IsFine_AndNothingIsReadUntilThen) {
    ASSERT_NE(ca->connect(), 0);
    server = Client(listener.accept());
    server.receive();
    const Wire early = to(5).says("early");
    server.send(early);
    EXPECT_TRUE(eventually([&] {
        int waiting = -1;
        return ioctl(Inside::number(*ca), FIONREAD, &waiting) == 0 &&
               waiting == static_cast<int>(early.bytes().size());
    }));
    EXPECT_EQ(ca->get(), nullptr);
    ca->start();
    EXPECT_EQ(next(*ca), received(early));
}

TEST(CATest, Connect_ToAnUnknownHost_GivesZero_AndPutSendsNothing) {
    CA client(5, UNKNOWN_HOST.c_str(), 1);
    client.start();
    EXPECT_EQ(client.connect(), 0);
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(put(client, to(7)), 1);
    EXPECT_EQ(client.get(), nullptr);
}

TEST(CATest, Connect_ToAPortWhereNobodyListens_LeavesItDisconnected) {
    CA client(5, "127.0.0.1", net::freePort());
    client.start();
    EXPECT_NE(client.connect(), 0);
    EXPECT_FALSE(client.isConnected()) << "the greeting has failed";
    EXPECT_EQ(put(client, to(7)), 1);
}

// ---- put ----

TEST_F(CAWithListenerTest, Put_StampsTheTimeAndSetsTheLength) {
    connect();
    M m = bus::message(to(7).from(5).says("hello").claims(8).stamped(77));
    const long long before = JSystem::getMilliseconds();
    EXPECT_EQ(ca->put(m), 1);
    const Wire sent = server.receive();
    EXPECT_LE(sent.stamp - stampOf(before), 30000u);
    EXPECT_EQ(sent, to(7).from(5).says("hello").claims(21).stamped(sent.stamp));
    EXPECT_EQ(m.getTimestamp(), static_cast<int>(sent.stamp));
    EXPECT_EQ(m.getLength(), 21);
}

TEST_F(CAWithListenerTest, Put_LeavesTheTimeOutOfATimedMessage) {
    connect();
    EXPECT_EQ(put(*ca, to(7).from(5).flagged(TIMED | SYNC).stamped(3000)), 1);
    server.expect(to(7).from(5).flagged(TIMED | SYNC).stamped(3000));
}

TEST_F(CAWithListenerTest, Put_WithoutAConnection_GivesOneAndStillStamps) {
    M m = bus::message(to(7).stamped(0));
    EXPECT_EQ(ca->put(m), 1);
    EXPECT_NE(m.getTimestamp(), 0);
    EXPECT_EQ(m.getLength(), 16);
}

TEST_F(CAWithListenerTest, Put_GivesZeroWhenTheWriteFails_AndOneOnceTheConnectionIsKnownToBeGone) {
    ASSERT_NE(ca->connect(), 0);  // no reader, which would notice first
    Inside::socket(*ca).shutdownOutput();
    EXPECT_EQ(put(*ca, to(7)), 0);
    EXPECT_FALSE(ca->isConnected());
    EXPECT_EQ(put(*ca, to(7)), 1);
}

TEST_F(CAWithListenerTest, Put_OfMoreThanTheHeaderCanTell_SendsNothing) {
    connect();
    M m;
    m.addBytes(JByte(M::MAX_SIZE - M::HEADER_SIZE + 1));
    EXPECT_EQ(ca->put(m), 0);
    EXPECT_EQ(put(*ca, to(7).flagged(TIMED).says(std::string(65519, 'x'))), 1);
    server.expect(to(7).flagged(TIMED).says(std::string(65519, 'x')));
}

TEST_F(CAWithListenerTest, Put_ByManyThreads_MixesNoBytes) {
    constexpr int THREADS = 4;
    constexpr int EACH = 500;
    connect();
    std::vector<std::unique_ptr<support::Thread>> threads;
    for (int id = 0; id < THREADS; id++)
        threads.push_back(std::make_unique<support::Thread>([this, id] {
            for (unsigned i = 0; i < EACH; i++)
                EXPECT_EQ(
                    put(*ca, to(7).from(id).about(i).says(std::string(i * 7, static_cast<char>('a' + id)))),
                    1);
        }));
    unsigned expected[THREADS] = {};
    for (int i = 0; i < THREADS * EACH && !HasFailure(); i++) {
        const Wire m = server.receive();
        ASSERT_LT(m.src, THREADS);
        EXPECT_EQ(m.section, expected[m.src]++);
        EXPECT_EQ(m.payload, std::string(m.section * 7, static_cast<char>('a' + m.src)));
    }
}

TEST_F(CAWithListenerTest, Put_WhileTheServerDoesNotRead_TimesOut_AndTheConnectionStays) {
    JSocketPeer::writeTimeout(Inside::socket(*ca)) = 1;
    connect();
    Inside::socket(*ca).setSendBufferSize(4096);
    const Wire some = to(7).from(5).says(std::string(60000, '#'));
    int n = 0;
    while (put(*ca, some) == 1) ASSERT_LT(++n, 1000);
    EXPECT_TRUE(ca->isConnected());
}

// ---- get, peek, next ----

TEST_F(CAWithListenerTest, Get_TakesTheBandsInTurn) {
    fill({0, 0, 1, 5});
    for (const unsigned n : {0U, 2U, 3U, 1U}) EXPECT_EQ(get(*ca).section, n);
    EXPECT_EQ(ca->get(), nullptr);
}

TEST_F(CAWithListenerTest, Get_PutsEveryPriorityAbove1IntoOneBand) {
    connect();
    for (const int priority : {255, 2, 1, 0, 9}) deliver(to(5).urgency(priority));
    for (const int priority : {0, 1, 255, 2, 9}) EXPECT_EQ(get(*ca).priority, priority);
}

TEST_F(CAWithListenerTest, Get_SkipsEmptyBands) {
    fill({5, 5, 5});
    for (const unsigned cursor : {3U, 6U, 9U}) {
        EXPECT_NE(get(*ca).length, 0);
        EXPECT_EQ(Inside::cursor(*ca), cursor);
    }
}

TEST_F(CAWithListenerTest, Get_OnEmptyBands_GivesNullAndMovesTheCursorByFour) {
    for (const unsigned start : {0U, 1U, 2U, 100U}) {
        Inside::cursor(*ca) = start;
        EXPECT_EQ(ca->get(), nullptr);
        EXPECT_EQ(Inside::cursor(*ca), start + 4);
        EXPECT_EQ(ca->peek(), nullptr);
        EXPECT_EQ(Inside::cursor(*ca), start + 8);
    }
}

TEST_F(CAWithListenerTest, Get_OfNothing_DoesNotWaitForAWriterThatIsHeldUp) {
    connect();
    const auto writer = blockedWriter();
    const net::Stopwatch watch;
    EXPECT_EQ(ca->get(), nullptr);
    EXPECT_EQ(ca->peek(), nullptr);
    EXPECT_EQ(ca->copyNext(), nullptr);
    EXPECT_LT(watch.ms(), 1000);
    CA* const dying = ca.release();
    dying->~CA();
    writer->join();
    CA::operator delete(dying);
}

TEST_F(CAWithListenerTest, Get_FindsTheMessage_WhereverTheCursorStands) {
    for (unsigned start = 0; start != 14; start++) {
        for (const int priority : {0, 1, 2}) {
            fill({priority});
            Inside::cursor(*ca) = start - 7;  // the values around the point where it starts again at 0
            EXPECT_NE(get(*ca).length, 0) << start << ' ' << priority;
        }
    }
}

TEST_F(CAWithListenerTest, Peek_LeavesTheCursorOnTheBandOfTheMessage_SoThatGetTakesIt) {
    for (unsigned start = 0; start < 6; start++) {
        fill({1, 5, 5});
        Inside::cursor(*ca) = start;
        for (int i = 0; i < 3; i++) {
            M* const shown = ca->peek();
            EXPECT_EQ(ca->peek(), shown);
            const std::unique_ptr<M> taken(ca->get());
            EXPECT_EQ(taken.get(), shown);
        }
        EXPECT_EQ(ca->peek(), nullptr);
    }
}

TEST_F(CAWithListenerTest, Next_PassesOverTheBandWhoseTurnItIs) {
    fill({0, 1});
    EXPECT_EQ(ca->peek()->getSection(), 0);
    ca->next();
    EXPECT_EQ(Inside::cursor(*ca), 1u);
    EXPECT_EQ(get(*ca).section, 1u);
    EXPECT_EQ(get(*ca).section, 0u);
}

TEST_F(CAWithListenerTest, CopyNext_GivesACopyOfWhatGetWillTake) {
    EXPECT_EQ(ca->copyNext(), nullptr);
    fill({1});
    const std::unique_ptr<M> copy(ca->copyNext());
    EXPECT_NE(copy.get(), ca->peek());
    const std::unique_ptr<M> taken(ca->get());
    EXPECT_EQ(bus::wire(*copy), bus::wire(*taken));
}

// ---- what the reader takes in ----

TEST_F(CAWithListenerTest, Reader_TakesMessagesApartAndTogether_WhereverTheyAreSplit) {
    connect();
    const Wire messages[] = {to(5).about(1), to(5).about(2).says("four"),
                             to(5).about(3).says("seventeen letters")};
    std::string all;
    for (const Wire& m : messages) all += m.bytes();
    for (std::size_t i = 1; i <= all.size(); i++) {
        server.send(all.substr(0, i));
        expectTaken();
        server.send(all.substr(i));
        for (const Wire& m : messages) {
            EXPECT_TRUE(eventually([&] { return ca->peek() != nullptr; }));
            EXPECT_EQ(get(*ca), received(m));
        }
    }
}

TEST_F(CAWithListenerTest, Reader_TakesALengthOf16OrLessForAHeaderAlone) {
    connect();
    for (const int length : {0, 8, 15, 16}) {
        deliver(to(5).about(4).claims(length));
        EXPECT_EQ(get(*ca), to(5).about(4).claims(16));
    }
}

TEST_F(CAWithListenerTest, Reader_TakesAPayloadOfOneByteAndOfTheLargestSize) {
    connect();
    for (const int size : {1, 65519}) {
        deliver(to(5).says(net::pattern(size)));
        EXPECT_EQ(get(*ca), received(to(5).says(net::pattern(size))));
    }
}

TEST_F(CAWithListenerTest, Reader_SignalsOncePerMessage) {
    connect();
    server.send(to(5).bytes() + to(5).bytes() + to(5).bytes());
    EXPECT_TRUE(eventually([&] { return Inside::signalled(*ca) == 3; }));
    for (const int pending : {3, 2, 1}) EXPECT_EQ(ca->wait(1000), pending);
    EXPECT_EQ(ca->wait(0), -1);
}

TEST_F(CAWithListenerTest, Reader_ATimeOutWithinAPayload_DropsTheMessage) {
    const Wire cut = to(5).about(1).claims(32);
    const Wire whole = to(5).about(2);
    JSocketPeer::readTimeout(Inside::socket(*ca)) = 1;
    connect();
    for (int patience = 1500; patience < 20000; patience *= 2) {
        server.send(cut);
        const net::Stopwatch watch;
        eventually([&] { return watch.ms() > patience; });
        server.send(whole);  // would be the payload if it came in time
        const Wire got = next(*ca);
        if (got == received(whole)) return;
        EXPECT_EQ(got.payload, whole.bytes());
    }
    ADD_FAILURE() << "the message was never dropped";
}

TEST_F(CAWithListenerTest, Reader_AfterALostConnection_KeepsWhatCame_AndSleeps) {
    connect();
    deliver(to(5).says("kept"));
    server.send(to(5).claims(100).says("cut"));
    server.close();
    EXPECT_TRUE(eventually([&] { return !ca->isConnected(); }));
    EXPECT_EQ(put(*ca, to(7)), 1);
    EXPECT_EQ(get(*ca).payload, "kept");
    EXPECT_EQ(ca->get(), nullptr);
    EXPECT_TRUE(ca->isAlive());
    const std::clock_t used = std::clock();
    const net::Stopwatch watch;
    eventually([&] { return watch.ms() > 300; });
    EXPECT_LT((std::clock() - used) * 1000 / CLOCKS_PER_SEC, 150) << "the reader spins";
}

TEST_F(CAWithListenerTest, Reader_OfAQuietConnection_SleepsWithoutWakingUp) {
    support::Thread reader(
        [this] { ca->run(); });  // in place of the client's own thread, which is not started
    ASSERT_NE(ca->connect(), 0);
    server = Client(listener.accept());
    server.receive();
    ASSERT_TRUE(reader.fallsAsleep());
    deliver(to(5));
    ASSERT_TRUE(reader.fallsAsleep());
    const long sleeps = reader.sleeps();
    const net::Stopwatch watch;
    EXPECT_TRUE(eventually([&] { return watch.ms() > 500; }));
    EXPECT_EQ(reader.sleeps(), sleeps);
    ca->stop();
    server.send(to(5));
    reader.join();
}

TEST_F(CAWithListenerTest, Reader_AReset_IsALostConnection) {
    connect();
    server.reset();
    EXPECT_TRUE(eventually([&] { return !ca->isConnected(); }));
}

// ---- the callback ----

void takeIt(CA* client) {
    seen = get(*client).section;
    calls++;
}

TEST_F(CAWithListenerTest, Callback_IsCalledForEachMessage_OnTheReadersThread_WithNoLockHeld) {
    static std::atomic<bool> onReader;
    static std::atomic<bool> free;
    onReader = free = false;
    calls = 0;
    ca->setEventCallback([](CA* client) {
        onReader = JThread::currentThread() == client;
        // From another thread: to its holder a lock is always free.
        support::Thread([client] { free = Inside::isFree(*client); }).join();
        calls++;
    });
    connect();
    server.send(to(5));
    EXPECT_TRUE(eventually([] { return calls == 1; }));
    EXPECT_TRUE(onReader);
    EXPECT_TRUE(free);
    EXPECT_EQ(ca->wait(1000), 1) << "the event is signalled before the call";
}

TEST_F(CAWithListenerTest, Callback_MayTakeTheMessage) {
    calls = 0;
    ca->setEventCallback(takeIt);
    connect();
    for (unsigned i = 1; i <= 10; i++) {
        server.send(to(5).about(i));
        EXPECT_TRUE(eventually([i] { return calls == static_cast<int>(i); }));
        EXPECT_EQ(seen, i);
    }
}

TEST_F(CAWithListenerTest, Callback_MaySend) {
    ca->setEventCallback(
        [](CA* client) { put(*client, to(7).flagged(TIMED).about(get(*client).section + 1)); });
    connect();
    server.send(to(5).about(41));
    server.expect(to(7).flagged(TIMED).about(42));
}

TEST_F(CAWithListenerTest, Callback_CanBeRemoved) {
    calls = 0;
    ca->setEventCallback(takeIt);
    connect();
    server.send(to(5));
    EXPECT_TRUE(eventually([] { return calls == 1; }));
    ca->setEventCallback(nullptr);
    deliver(to(5));
    deliver(to(5));
    EXPECT_EQ(calls, 1);
}

TEST_F(CAWithListenerTest, Callback_MayDeleteTheClient) {
    const int threads = bus::runningThreads();
    const int descriptors = net::openDescriptors();
    auto* const client = new CA(5, "127.0.0.1", listener.port());
    client->setEventCallback([](CA* it) { delete it; });
    client->start();
    ASSERT_NE(client->connect(), 0);
    {
        Client far(listener.accept());
        far.receive();
        far.send(to(5).bytes() + to(5).bytes());
        far.expectClosed();
    }
    EXPECT_TRUE(eventually([threads] { return bus::runningThreads() == threads; }));
    EXPECT_EQ(net::openDescriptors(), descriptors);
}

// ---- stop and the end ----

TEST_F(CAWithListenerTest, Stop_EndsTheReaderAfterTheNextMessageAtTheLatest) {
    connect();
    deliver(to(5));
    ca->stop();
    server.send(to(5));
    ca->join();
    EXPECT_TRUE(Inside::isDone(*ca));
    EXPECT_TRUE(ca->isConnected());
}

TEST_F(CAWithListenerTest, Stop_EndsAReaderThatHasNoConnection) {
    ca->start();
    ca->stop();
    ca->join();
    EXPECT_TRUE(Inside::isDone(*ca));
}

TEST_F(CAWithListenerTest, Destructor_NeverStarted) {
    EXPECT_LT(destroy(), CLOSING_MS);
}

TEST_F(CAWithListenerTest, Destructor_ConnectedButNeverStarted) {
    ASSERT_NE(ca->connect(), 0);
    server = Client(listener.accept());
    EXPECT_LT(destroy(), CLOSING_MS);
    server.expectClosed();
}

TEST_F(CAWithListenerTest, Destructor_StartedButNeverConnected) {
    ca->start();
    EXPECT_LT(destroy(), CLOSING_MS);
}

TEST_F(CAWithListenerTest, Destructor_JustStarted) {
    for (int i = 0; i < 200; i++) {
        ca = std::make_unique<CA>(5, "127.0.0.1", listener.port());
        ca->start();
    }
    EXPECT_LT(destroy(), CLOSING_MS);
}

TEST_F(CAWithListenerTest, Destructor_WithAReaderThatWaits_ClosesTheConnection) {
    connect();
    EXPECT_LT(destroy(), CLOSING_MS);
    server.expectClosed();
}

TEST_F(CAWithListenerTest, Destructor_FreesTheMessagesNotTaken) {
    connect();
    for (const int priority : {0, 1, 2}) deliver(to(5).urgency(priority).says("left"));
    int freed = 0;
    for (const int priority : {0, 1, 2}) {
        auto* const m = new FreedMessage(freed);
        m->setPriority(priority);
        Inside::sortIn(*ca, m);
    }
    destroy();
    EXPECT_EQ(freed, 3);
}

TEST_F(CAWithListenerTest, Destructor_LetsTheServerReadEverything_AndEndsInOrder) {
    connect();
    const Wire some = to(7).from(5).flagged(TIMED).says(net::pattern(20000));
    for (int i = 0; i < 20; i++) EXPECT_EQ(put(*ca, some), 1);  // more than the server's system takes
    support::Thread closing([this] { ca.reset(); });
    for (int i = 0; i < 20; i++) server.expect(some);
    server.expectEnd();
    server.close();
}

TEST_F(CAWithListenerTest, Destructor_ReturnsAsSoonAsTheServerClosesItsSide) {
    connect();
    support::Thread closing([this] {
        server.expectEnd();
        server.close();
    });
    EXPECT_LT(destroy(), 1000);
}

TEST_F(CAWithListenerTest, Destructor_CallsNoCallbackAnyMore) {
    calls = 0;
    ca->setEventCallback([](CA*) { calls++; });
    connect();
    const auto writer = blockedWriter();  // which holds the lock
    server.send(to(5));
    expectTaken();  // the reader waits for the lock now
    CA* const dying = ca.release();
    dying->~CA();
    writer->join();
    EXPECT_EQ(calls, 0);
    CA::operator delete(dying);
}

TEST_F(CAWithListenerTest, Reader_SortsAMessageInUnderTheLock) {
    connect();
    const auto writer = blockedWriter();  // which holds the lock
    server.send(to(5).says("later"));
    expectTaken();
    const net::Stopwatch watch;
    EXPECT_TRUE(eventually([&] { return Inside::signalled(*ca) > 0 || watch.ms() > 200; }));
    EXPECT_EQ(Inside::signalled(*ca), 0);
    support::Thread reading([this] { server.drain(); });
    EXPECT_EQ(next(*ca).payload, "later");
    writer->cancel();
    writer->join();
    ca.reset();
}

TEST_F(CAWithListenerTest, Destructor_WhileAMessageIsCutShort) {
    connect();
    server.send(to(5).claims(65535).says("the beginning"));
    expectTaken();
    EXPECT_LT(destroy(), CLOSING_MS);
}

TEST_F(CAWithListenerTest, Destructor_WhileMessagesPourIn) {
    calls = 0;
    ca->setEventCallback([](CA*) { calls++; });
    connect();
    const support::Thread pouring([this] {
        const std::string some = to(5).says("drop").bytes();
        while (::send(server.fd(), some.data(), some.size(), MSG_NOSIGNAL) > 0) {
        }
    });
    EXPECT_TRUE(eventually([] { return calls > 100; }));
    EXPECT_LT(destroy(), CLOSING_MS);
}

TEST_F(CAWithListenerTest, Destructor_WhileAnotherThreadIsStuckInPut_ReturnsPromptly) {
    connect();
    const auto writer = blockedWriter();
    CA* const dying = ca.release();
    const net::Stopwatch watch;
    // As its last act the writer looks at the result of put(); what it was called on may be gone by then.
    dying->~CA();
    EXPECT_LT(watch.ms(), CLOSING_MS);
    writer->join();
    CA::operator delete(dying);
}

TEST_F(CAWithListenerTest, Destructor_LeavesNoDescriptorsOpen) {
    const int before = net::openDescriptors();
    for (int i = 0; i < 10; i++) {
        ca = std::make_unique<CA>(5, "127.0.0.1", listener.port());
        connect();
        server.close();
        ca.reset();
    }
    EXPECT_EQ(net::openDescriptors(), before);
}

// ---- cancellation of an application's thread ----

#ifdef __SANITIZE_THREAD__
constexpr bool UNWINDING_IS_SEEN = false;  // what a cancelled thread does while it is unwound
#else
constexpr bool UNWINDING_IS_SEEN = true;
#endif

TEST_F(CAWithListenerTest, AThreadCancelledInPut_LeavesTheLockFree) {
    if (!UNWINDING_IS_SEEN) GTEST_SKIP() << "ThreadSanitizer misses what is unlocked then";
    connect();
    const auto writer = blockedWriter();
    writer->cancel();
    EXPECT_TRUE(writer->join());
    EXPECT_TRUE(Inside::isFree(*ca));
    EXPECT_TRUE(ca->isConnected());
}

TEST_F(CAWithListenerTest, AThreadCancelledInWait_LeavesTheEventAsItWas) {
    support::Thread waiter([this] { ca->wait(-1); });
    EXPECT_TRUE(waiter.fallsAsleep());
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    connect();
    deliver(to(5));
}

TEST(CATest, AThreadCancelledInConnect_LeavesTheLockFree) {
    if (!UNWINDING_IS_SEEN) GTEST_SKIP() << "ThreadSanitizer misses what is unlocked then";
    const net::SilentPort silent;
    CA client(5, "127.0.0.1", silent.port());
    support::Thread connecting([&] { client.connect(); });
    EXPECT_TRUE(eventually([&] { return !Inside::isFree(client) && connecting.isAsleep(); }));
    connecting.cancel();
    EXPECT_TRUE(connecting.join());
    EXPECT_TRUE(Inside::isFree(client));
    EXPECT_FALSE(client.isConnected());
}

// ---- with a server ----

TEST(CATest, TwoClients_TalkThroughAServer) {
    Server server;
    CA five(5, "127.0.0.1", server.port());
    CA seven(7, "127.0.0.1", server.port());
    for (CA* client : {&five, &seven}) {
        client->start();
        ASSERT_NE(client->connect(), 0);
    }
    server.log.expect(bus::listenerLine(5));
    server.log.expect(bus::listenerLine(7));
    put(five, to(7).from(5).says("hello"));
    EXPECT_EQ(next(seven).payload, "hello");
    put(seven, to(0).from(7).flagged(BROADCAST).says("all"));
    EXPECT_EQ(next(five).payload, "all");
}

TEST(CATest, AnswersToATimedMessage_KeepTheServerSending) {
    Server server;
    CA client(5, "127.0.0.1", server.port());
    client.setEventCallback([](CA* it) { put(*it, to(6).from(5).says(get(*it).payload)); });
    client.start();
    ASSERT_NE(client.connect(), 0);
    bus::Client other = server.connect(6);
    server.log.expect(bus::listenerLine(5));
    for (int i = 0; i < 5; i++) {
        other.send(to(5).from(6).flagged(TIMED).stamped(60000).says("answer"));
        EXPECT_EQ(other.receive().payload, "answer");
        server.log.expect(bus::agentLine(5, "clear timed time-stamp"), i + 1);
    }
}

TEST(CATest, WhenTheServerGoes_TheClientIsDisconnected_AndStaysSo) {
    Server server;
    CA client(5, "127.0.0.1", server.port());
    client.start();
    ASSERT_NE(client.connect(), 0);
    server.log.expect(bus::listenerLine(5));
    server.add(to(5).says("last"));
    EXPECT_GT(client.wait(30000), 0);
    server.destroy();
    EXPECT_TRUE(eventually([&] { return !client.isConnected(); }));
    EXPECT_EQ(put(client, to(7)), 1);
    EXPECT_EQ(get(client).payload, "last");
}

TEST(CATest, TheLoopOfTheHeader_TakesEveryMessage_AndEndsWithTheServer) {
    Server server;
    CA client(5, "127.0.0.1", server.port());
    client.start();
    ASSERT_NE(client.connect(), 0);
    server.log.expect(bus::listenerLine(5));
    std::atomic<int> taken{0};
    support::Thread loop([&] {
        for (bool connected = true; connected;) {
            connected = client.isConnected();
            client.wait(1000);
            while (const std::unique_ptr<M> m{client.get()}) taken++;
        }
    });
    for (int i = 0; i < 100; i++) server.add(to(5));
    EXPECT_TRUE(eventually([&] { return taken == 100; }));
    server.destroy();
    loop.join();
    EXPECT_FALSE(client.isConnected());
}

TEST(CATest, AnotherClientWithTheSameId_TakesItsPlace) {
    Server server;
    CA first(5, "127.0.0.1", server.port());
    CA second(5, "127.0.0.1", server.port());
    for (CA* client : {&first, &second}) {
        client->start();
        ASSERT_NE(client->connect(), 0);
    }
    EXPECT_TRUE(eventually([&] { return !first.isConnected(); }));
    server.log.expect(bus::listenerLine(5), 2);
    server.add(to(5).says("yours"));
    EXPECT_EQ(next(second).payload, "yours");
}

// ---- what takes its time ----

TEST(CASlowTest, Connect_ToASilentServer_GivesZeroAfter10Seconds) {
    const net::SilentPort silent;
    CA client(5, "127.0.0.1", silent.port());
    const net::Stopwatch watch;
    EXPECT_EQ(client.connect(), 0);
    EXPECT_GE(watch.ms(), 9900);
    EXPECT_LT(watch.ms(), 10000 + net::LATE_MS);
}

TEST(CASlowTest, AMessageCutForAMinute_IsDropped_AndTheConnectionGoesOn) {
    net::Listener listener;
    CA client(5, "127.0.0.1", listener.port());
    client.start();
    ASSERT_NE(client.connect(), 0);
    Client server(listener.accept());
    server.receive();
    server.send(to(5).claims(32));
    const net::Stopwatch watch;
    while (watch.ms() < 62000) eventually([&] { return watch.ms() > 62000; });
    EXPECT_TRUE(client.isConnected());
    server.send(to(5).says("next"));
    EXPECT_EQ(next(client).payload, "next");
}

}  // namespace
