#include "bus/SA.h"

#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <vector>

#include "bus/OwnBurst.h"
#include "bus/Server.h"
#include "support/JThreadPeer.h"
#include "support/OutboxPeer.h"
#include "support/WallClock.h"
#include "thread/detail/Monotonic.h"

using bus::agentLine;
using bus::Client;
using bus::JSocketPeer;
using bus::PROMPT_MS;
using bus::SAPeer;
using bus::Server;
using bus::SMPeer;
using bus::SYNC;
using bus::TIMED;
using bus::to;
using bus::wakeUp;
using bus::Wire;
using jay::detail::JThreadPeer;
using jay::detail::OutboxPeer;
using support::eventually;

namespace {

constexpr int ABSENT = 0;
constexpr int ASKED = 1;
constexpr int CONNECTED = 2;
constexpr int LOST = 3;
constexpr int CLOSED = 4;

/** On the clock that the agents' deadlines are counted on. */
long long now() {
    return jay::detail::monotonicMilliseconds();
}

bool isFree(JLock& lock) JAY_UNCHECKED_LOCKING {
    if (!lock.tryLock()) return false;
    lock.unlock();
    return true;
}

/** Agent 7 and a manager, both with threads that do not run: the test takes the agent's steps itself. */
class SteppedAgent {
public:
    SA* operator->() { return &agent; }
    SA& operator*() { return agent; }

    void add(const Wire& w) {
        M m = bus::message(w);
        agent.add(m);
    }
    void addQuietly(const Wire& w) { SAPeer::adoptQuietly(agent, new M(bus::message(w))); }
    void deliver() {
        bus::OwnBurst burst;
        SAPeer::deliver(agent, burst);
    }
    void step() { SAPeer::step(agent, !SAPeer::queue(agent).isEmpty(), deadline); }

    /** What the agent has handed the manager; all fields 0 if nothing. */
    Wire handedOver() {
        const std::unique_ptr<M> m(SMPeer::queue(sm).get());
        return m != nullptr ? bus::wire(*m) : Wire();
    }

    /** Attaches a connection. */
    Client connect() {
        net::Listener listener;
        Client client = Client::connectedTo(listener.port());
        EXPECT_EQ(agent.set(new JSocket(listener.accept().release())), 1);
        EXPECT_TRUE(eventually([this] { return !SAPeer::reader(agent).idle(); }));
        return client;
    }

    /** State 4 with a reader that still holds the socket; it lets go when the client closes. */
    Client connectAndClose() {
        Client client = connect();
        SAPeer::state(agent) = CLOSED;
        return client;
    }
    void expectIdleReader() {
        EXPECT_TRUE(eventually([this] { return SAPeer::reader(agent).idle(); }));
    }

    support::DebugLog log;
    SM sm{net::freePort()};
    SA agent{&sm, 7};
    long long deadline = 0;
};

// ---- the parts ----

TEST(SATest, Constructor_StartsTheReaderOnly) {
    SteppedAgent agent;
    EXPECT_EQ(SAPeer::id(*agent), 7);
    EXPECT_EQ(SAPeer::state(*agent), ABSENT);
    EXPECT_EQ(SAPeer::connection(*agent).get(), nullptr);
    EXPECT_EQ(SAPeer::timedStamp(*agent), 0);
    EXPECT_EQ(SAPeer::in(*agent), 0);
    EXPECT_EQ(SAPeer::out(*agent), 0);
    EXPECT_FALSE(agent->active());
    EXPECT_TRUE(SAPeer::reader(*agent).idle());
    EXPECT_TRUE(eventually([&] { return JThreadPeer::state(SAPeer::reader(*agent)) == 2; }));
    EXPECT_EQ(JThreadPeer::state(*agent), 1);
}

TEST(SATest, Add_CountsQueuesACopyAndWakesTheAgent) {
    SteppedAgent agent;
    agent.add(to(7).from(5).says("x"));
    EXPECT_EQ(SAPeer::in(*agent), 1);
    EXPECT_EQ(SAPeer::event(*agent).count(), 1);
    const std::unique_ptr<M> m(SAPeer::queue(*agent).get());
    EXPECT_EQ(bus::wire(*m), to(7).from(5).says("x").claims(17));
}

TEST(SATest, Reqid_IsTheSenderOfTheFirstMessage_OrTheAgentsOwnId) {
    SteppedAgent agent;
    EXPECT_EQ(agent->reqid(), 7);
    agent.add(to(7).from(5).urgency(9));
    agent.add(to(7).from(6).urgency(0));
    EXPECT_EQ(agent->reqid(), 6);
}

TEST(SATest, Sync_HandsTheManagerASyncMessageAboutTheClient) {
    SteppedAgent agent;
    agent.add(to(7).from(5));
    agent->sync();
    EXPECT_EQ(agent.handedOver(), wakeUp(7, 5).claims(16));
    EXPECT_EQ(SMPeer::in(agent.sm), 1);
}

TEST(SATest, Stop_WakesTheAgent) {
    SteppedAgent agent;
    agent->stop();
    EXPECT_TRUE(SAPeer::isStopped(*agent));
    EXPECT_EQ(SAPeer::event(*agent).count(), 1);
}

// ---- the time of day is set ----

TEST(SATest, TheTimeOfDaySetBack_ClientZeroIsAskedAgainInTime) {
    SteppedAgent agent;
    agent.add(to(7).from(5));
    agent.step();
    agent.handedOver();
    const support::WallClock back(-support::AN_HOUR_MS);
    agent.deadline = now() - 1;
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ABSENT);
}

TEST(SATest, TheTimeOfDaySetBack_AnUnansweredTimedMessageIsReported) {
    Server server;
    Client zero = server.connect(0);
    Client client = server.connect(5);
    server.add(to(5).from(3).flagged(TIMED).stamped(300));
    client.receive();
    const support::WallClock back(-support::AN_HOUR_MS);
    zero.expect(wakeUp(5, 5));
}

TEST(SATest, TheTimeOfDaySetForward_ATimedMessageIsStillWaitedFor) {
    Server server;
    Client client = server.connect(5);
    server.add(to(5).from(3).flagged(TIMED).stamped(60000));
    const long long before = JSystem::getMilliseconds();
    const unsigned stamp = client.receive().stamp;
    EXPECT_LE(stamp - static_cast<unsigned>(before & 0x7FFFFFFF), 30000U) << "the stamp is the time of day";
    const support::WallClock forward(support::AN_HOUR_MS);
    server.expectNothingElse(client, 5);
    server.log.expectNo("timed expire");
    EXPECT_EQ(SAPeer::state(server.agent(5)), CONNECTED);
}

// ---- the steps, one state after the other ----

TEST(SATest, Step_Absent_WithoutMessages_DoesNothing) {
    SteppedAgent agent;
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ABSENT);
    EXPECT_EQ(SMPeer::in(agent.sm), 0);
}

TEST(SATest, Step_Absent_WithMessages_AsksClientZeroFor30Seconds) {
    SteppedAgent agent;
    agent.add(to(7).from(5));
    const long long before = now();
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ASKED);
    EXPECT_EQ(agent.handedOver(), wakeUp(7, 5).claims(16));
    EXPECT_GE(agent.deadline, before + 30000);
    EXPECT_LE(agent.deadline, now() + 30000);
    EXPECT_FALSE(SAPeer::queue(*agent).isEmpty());
}

TEST(SATest, Step_Absent_GoesByWhetherMessagesWaitedWhenTheRoundBegan) {
    SteppedAgent agent;
    agent.add(to(7).from(5));
    SAPeer::step(*agent, false, agent.deadline);
    EXPECT_EQ(SAPeer::state(*agent), ABSENT);
}

TEST(SATest, Step_Asked_WaitsForTheDeadline_ThenGoesBackToAbsent) {
    SteppedAgent agent;
    agent.add(to(7).from(5));
    agent.step();
    agent.handedOver();
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ASKED);
    agent.deadline = now() - 1;
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ABSENT);
    EXPECT_EQ(agent.handedOver().flag, 0) << "asked too early";
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ASKED);
    EXPECT_EQ(agent.handedOver(), wakeUp(7, 5).claims(16));
}

TEST(SATest, Step_Connected_SendsWhatWaitsInTheFirstBand) {
    SteppedAgent agent;
    Client client = agent.connect();
    EXPECT_EQ(SAPeer::state(*agent), CONNECTED);
    EXPECT_TRUE(agent->active());
    agent.add(to(7).from(5).urgency(9).says("three"));
    agent.add(to(7).from(5).says("one"));
    agent.add(to(7).from(5).says("two"));
    agent.step();
    client.expect(to(7).from(5).says("one"));
    client.expect(to(7).from(5).says("two"));
    client.expectNothing();
    agent.step();
    client.expect(to(7).from(5).urgency(9).says("three"));
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), CONNECTED);
}

TEST(SATest, Step_Connected_AMessageTooLargeToGather_GoesAlone) {
    SteppedAgent agent;
    Client client = agent.connect();
    const Wire large = to(7).from(5).says(std::string(60000, 'x'));
    agent.add(large);
    agent.add(to(7).from(5).says("small"));
    agent.step();
    client.expect(large);
    client.expectNothing();
    agent.step();
    client.expect(to(7).from(5).says("small"));
}

TEST(SATest, Deliver_SendsOnTheCallingThread) {
    SteppedAgent agent;
    Client client = agent.connect();
    SAPeer::event(*agent).reset();  // the connection's
    for (const char* text : {"one", "two"})
        agent.addQuietly(to(7).from(5).urgency(text[0] == 'o' ? 9 : 0).says(text));
    agent.deliver();
    client.expect(to(7).from(5).says("two"));
    client.expect(to(7).from(5).urgency(9).says("one"));
    EXPECT_EQ(SAPeer::event(*agent).count(), 0);
    EXPECT_EQ(SAPeer::in(*agent), 2);
}

TEST(SATest, Deliver_OfALongQueue_LeavesTheMostOfItToTheAgent) {
    SteppedAgent agent;
    Client client = agent.connect();
    SAPeer::event(*agent).wait(0);
    constexpr unsigned COUNT = 5000;
    for (unsigned i = 0; i < COUNT; i++) agent.addQuietly(to(7).from(5).about(i));
    agent.deliver();
    EXPECT_EQ(SAPeer::event(*agent).count(), 1);
    EXPECT_EQ(SAPeer::queue(*agent).size(), 5000 - 4 * 512);
    while (!SAPeer::queue(*agent).isEmpty()) agent.step();
    for (unsigned i = 0; i < COUNT; i++) ASSERT_EQ(client.receive().section, i);
}

TEST(SATest, Deliver_LeavesToTheAgentWhatIsNotForItAlone) {
    SteppedAgent agent;
    const auto expectLeft = [&](const char* why) {
        while (SAPeer::event(*agent).count() > 0) SAPeer::event(*agent).wait(0);
        agent.deliver();
        EXPECT_GT(SAPeer::event(*agent).count(), 0) << why;
        EXPECT_FALSE(SAPeer::queue(*agent).isEmpty()) << why;
    };
    agent.addQuietly(to(7).from(5).says("one"));
    expectLeft("not connected");
    Client client = agent.connect();
    {
        const jay::detail::ScopedLock guard(SAPeer::lock(*agent));
        support::Thread([&] { expectLeft("the agent is at work"); }).join();
    }
    SAPeer::timedStamp(*agent) = now() - 1;
    expectLeft("an answer is overdue");
    SAPeer::timedStamp(*agent) = 0;
    agent.addQuietly(to(7).from(5).flagged(TIMED).stamped(60000));
    expectLeft("a timed message");
    client.expectNothing();
}

TEST(SATest, Deliver_ToAClientThatDoesNotRead_NeverWaits_AndNothingIsLost) {
    SteppedAgent agent;
    Client client = agent.connect();
    SAPeer::event(*agent).wait(0);
    unsigned count = 0;
    while (SAPeer::event(*agent).count() == 0) {
        agent.addQuietly(to(7).from(5).about(count++).says(std::string(7001, '#')));
        agent.deliver();
    }
    // The rest of a message that was begun goes before anything else.
    agent.addQuietly(to(7).from(5).flagged(SYNC).says("urgent"));
    agent.deliver();
    SAPeer::timedStamp(*agent) = now() - 1;
    support::Thread sender([&] {
        agent.step();  // waits for the client
        SAPeer::timedStamp(*agent) = 0;
        while (!SAPeer::queue(*agent).isEmpty()) agent.step();
    });
    bool urgent = false;
    for (unsigned i = 0; i < count;) {
        const Wire m = client.receive();
        if (m.flag == SYNC) {
            urgent = true;
            continue;
        }
        ASSERT_EQ(m.section, i++);
        ASSERT_EQ(m.payload.size(), 7001U);
    }
    EXPECT_TRUE(urgent || client.receive().flag == SYNC);
    sender.join();
}

TEST(SATest, ANewConnection_DoesNotGetTheRestOfAFormerMessage) {
    SteppedAgent agent;
    Client former = agent.connect();
    OutboxPeer::rest(SAPeer::outbox(*agent)) = std::make_unique<JByte>("rest", 0, 4);
    former.close();
    EXPECT_TRUE(eventually([&] { return SAPeer::state(*agent) != CONNECTED; }));
    agent.step();
    Client client = agent.connect();
    agent.add(to(7).from(5).says("new"));
    agent.step();
    client.expect(to(7).from(5).says("new"));
}

TEST(SATest, Step_Connected_TurnsATimedMessageIntoATimer) {
    SteppedAgent agent;
    Client client = agent.connect();
    agent.add(to(7).from(5).flagged(TIMED | SYNC | 0x80).stamped(5000).says("x"));
    const long long before = now();
    const long long stamp = JSystem::getMilliseconds();
    agent.step();
    EXPECT_GE(SAPeer::timedStamp(*agent), before + 5000);
    EXPECT_LE(SAPeer::timedStamp(*agent), now() + 5000);
    EXPECT_EQ(agent.log.text(), agentLine(7, "timed message = 5000"));
    const Wire received = client.receive();
    EXPECT_EQ(received.flag, SYNC | 0x80);
    EXPECT_LE(received.stamp - static_cast<unsigned>(stamp & 0x7FFFFFFF), 10000u);
    EXPECT_EQ(received.payload, "x");
}

TEST(SATest, Step_Connected_ASecondTimedMessageDoesNotMoveTheExpiry) {
    SteppedAgent agent;
    Client client = agent.connect();
    agent.add(to(7).from(5).flagged(TIMED).stamped(5000));
    agent.step();
    const long long expiry = SAPeer::timedStamp(*agent);
    for (const unsigned patience : {1U, 60000U}) {
        agent.add(to(7).from(5).flagged(TIMED).stamped(patience));
        agent.step();
        EXPECT_EQ(SAPeer::timedStamp(*agent), expiry);
        agent.log.expect(agentLine(7, "timed message = " + std::to_string(patience)));
    }
    for (int i = 0; i < 3; i++) EXPECT_EQ(client.receive().flag, 0);
}

TEST(SATest, Step_Connected_BeforeTheExpiry_GoesOnSending) {
    SteppedAgent agent;
    Client client = agent.connect();
    SAPeer::timedStamp(*agent) = now() + 60000;
    agent.add(to(7).from(5));
    agent.step();
    client.expect(to(7).from(5));
    EXPECT_EQ(SAPeer::state(*agent), CONNECTED);
}

TEST(SATest, Step_Connected_AfterTheExpiry_StopsSendingAndAsks) {
    SteppedAgent agent;
    Client client = agent.connect();
    SAPeer::timedStamp(*agent) = now() - 1;
    agent.add(to(7).from(5));
    const long long before = now();
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ASKED);
    EXPECT_EQ(SAPeer::timedStamp(*agent), 0);
    EXPECT_GE(agent.deadline, before + 30000);
    EXPECT_LE(agent.deadline, now() + 30000);
    EXPECT_EQ(agent.handedOver(), wakeUp(7, 5).claims(16));
    EXPECT_EQ(agent.log.text(), agentLine(7, "timed expire sync..."));
    agent.step();
    client.expectNothing();
    EXPECT_FALSE(agent->active());
}

TEST(SATest, Step_Connected_AfterTheExpiry_WithNothingQueued_AsksInItsOwnName) {
    SteppedAgent agent;
    Client client = agent.connect();
    SAPeer::timedStamp(*agent) = now() - 1;
    agent.step();
    EXPECT_EQ(agent.handedOver(), wakeUp(7, 7).claims(16));
}

TEST(SATest, Step_Connected_WhenTheWriteFails_LosesTheMessageAndTheConnection) {
    SteppedAgent agent;
    Client client = agent.connect();
    agent.add(to(7).from(5));
    ASSERT_TRUE(SAPeer::connection(*agent).get() != nullptr);
    SAPeer::connection(*agent).get()->shutdownOutput();
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), LOST);
    agent.log.expect(agentLine(7, "error send message!!!"));
    EXPECT_TRUE(SAPeer::queue(*agent).isEmpty());
}

TEST(SATest, Step_Connected_WhenTheWriteFails_LosesTheFirstOfManyMessagesOnly) {
    SteppedAgent agent;
    {
        const Client client = agent.connect();
        for (unsigned i = 1; i <= 3; i++) agent.addQuietly(to(7).from(5).about(i));
        SAPeer::connection(*agent).get()->shutdownOutput();
        agent.deliver();
        EXPECT_EQ(SAPeer::queue(*agent).size(), 3);
        EXPECT_EQ(SAPeer::state(*agent), CONNECTED) << "what failed is for the agent to tell";
        agent.step();
        EXPECT_EQ(SAPeer::state(*agent), LOST);
        EXPECT_EQ(agent.log.count(agentLine(7, "error send message!!!")), 1);
    }
    agent.step();
    Client next = agent.connect();
    agent.deliver();
    next.expect(to(7).from(5).about(2));
    next.expect(to(7).from(5).about(3));
    next.expectNothing();
}

TEST(SATest, Step_Connected_WhenTheRestOfAMessageCannotBeSent_LosesThatMessageOnly) {
    SteppedAgent agent;
    Client client = agent.connect();
    OutboxPeer::rest(SAPeer::outbox(*agent)) = std::make_unique<JByte>("rest", 0, 4);
    agent.addQuietly(to(7).from(5).says("next"));
    SAPeer::connection(*agent).get()->shutdownOutput();
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), LOST);
    EXPECT_EQ(agent.log.count(agentLine(7, "error send message!!!")), 1);
    EXPECT_EQ(OutboxPeer::rest(SAPeer::outbox(*agent)), nullptr);
    agent.step();
    client.close();
    Client next = agent.connect();
    agent.deliver();
    next.expect(to(7).from(5).says("next"));
}

TEST(SATest, Step_Connected_WhatAClientThatIsGoneCannotTakeIsHeldBack) {
    SteppedAgent agent;
    Client client = agent.connect();
    agent.addQuietly(to(7).from(5).flagged(TIMED).stamped(60000));
    const jay::detail::ScopedLock guard(SAPeer::lock(*agent));
    client.reset();
    EXPECT_TRUE(eventually([&] { return SAPeer::connection(*agent).get()->isPeerClosed(); }));
    agent.step();
    EXPECT_TRUE(SAPeer::holdsBack(*agent));
    EXPECT_EQ(SAPeer::queue(*agent).size(), 1);
    EXPECT_EQ(SAPeer::timedStamp(*agent), 0);
    EXPECT_EQ(SAPeer::state(*agent), CONNECTED);
}

TEST(SATest, AClientThatSendsAndIsGoneWhileItsMessagesAreRead_LosesNothingThatIsKeptForIt) {
    Server server;
    Client receiver = server.connect(6);
    Client client = server.attach(5);
    std::string all;
    constexpr int COUNT = 5000;
    for (unsigned i = 0; i < COUNT; i++) all += to(6).from(5).about(i).bytes();
    {
        const support::DebugLog::Blocked blocked(server.log);  // the routing loop stands still
        client.send(all);
        client.reset();
        for (unsigned i = 0; i < 100; i++) server.add(to(5).from(6).about(i));
    }
    for (unsigned i = 0; i < COUNT; i++) ASSERT_EQ(receiver.receive().section, i);
    server.log.expect(agentLine(5, "disconnected!!!"));
    Client again = server.connect(5);
    for (unsigned i = 0; i < 100; i++) ASSERT_EQ(again.receive().section, i);
}

TEST(SATest, AConnectionLostWithAMessageHalfSent_LogsTheMessage) {
    SteppedAgent agent;
    Client client = agent.connect();
    OutboxPeer::rest(SAPeer::outbox(*agent)) = std::make_unique<JByte>("rest", 0, 4);
    client.reset();
    EXPECT_TRUE(eventually([&] { return SAPeer::state(*agent) == LOST; }));
    agent.step();
    EXPECT_FALSE(SAPeer::outbox(*agent).hasRest());
    EXPECT_EQ(agent.log.count(agentLine(7, "error send message!!!")), 1);
}

TEST(SATest, Step_Lost_ClosesTheSocket_AndWaitsThreeSeconds) {
    SteppedAgent agent;
    Client client = agent.connect();
    agent->close();
    EXPECT_EQ(SAPeer::state(*agent), LOST);
    EXPECT_TRUE(client.isOpen());
    const long long before = now();
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), CLOSED);
    EXPECT_GE(agent.deadline, before + 3000);
    EXPECT_LE(agent.deadline, now() + 3000);
    client.expectClosed();
    EXPECT_NE(SAPeer::connection(*agent).get(), nullptr);
}

TEST(SATest, Step_Closed_DestroysTheSocketOnceTheReaderHasLetGo) {
    SteppedAgent agent;
    Client client = agent.connectAndClose();
    agent.deadline = now() - 1;
    agent.step();
    EXPECT_NE(SAPeer::connection(*agent).get(), nullptr);
    EXPECT_EQ(SAPeer::state(*agent), CLOSED) << "a new connection could not tell";
    client.close();
    agent.expectIdleReader();
    agent.deadline = now() + 3000;
    for (int i = 0; i < 2; i++) {
        agent.step();
        EXPECT_EQ(SAPeer::connection(*agent).get(), nullptr);
        EXPECT_EQ(SAPeer::state(*agent), CLOSED);
        EXPECT_EQ(agent.log.count(agentLine(7, "close socket OK!!!")), 1);
    }
}

TEST(SATest, Step_Closed_AfterTheDeadlineGoesBackToAbsent) {
    SteppedAgent agent;
    SAPeer::state(*agent) = CLOSED;
    agent.deadline = now() + 3000;
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), CLOSED);
    agent.deadline = now() - 1;
    agent.step();
    EXPECT_EQ(SAPeer::state(*agent), ABSENT);
}

// ---- close, in every state ----

TEST(SATest, Close_WithoutAConnection_DoesNothing) {
    SteppedAgent agent;
    for (const int state : {ABSENT, ASKED}) {
        SAPeer::state(*agent) = state;
        agent->close();
        EXPECT_EQ(SAPeer::state(*agent), state);
    }
}

TEST(SATest, Close_Connected_OnlyTellsTheAgent) {
    SteppedAgent agent;
    SAPeer::state(*agent) = CONNECTED;
    agent->close();
    EXPECT_EQ(SAPeer::state(*agent), LOST);
    EXPECT_EQ(SAPeer::event(*agent).count(), 1);
}

TEST(SATest, Close_Lost_WithoutASocket_GoesOnToClosed) {
    SteppedAgent agent;
    SAPeer::state(*agent) = LOST;
    agent->close();
    EXPECT_EQ(SAPeer::state(*agent), CLOSED);
}

TEST(SATest, Close_Closed_WaitsForTheReader_WithTheLockFree) {
    SteppedAgent agent;
    Client client = agent.connectAndClose();
    support::Thread closer([&] { agent->close(); });
    EXPECT_TRUE(closer.fallsAsleep());
    EXPECT_TRUE(eventually([&] { return isFree(SAPeer::lock(*agent)); }));
    EXPECT_FALSE(closer.isFinished());
    client.close();
    closer.join();
    EXPECT_EQ(SAPeer::connection(*agent).get(), nullptr);
    agent.log.expect(agentLine(7, "close socket OK!!!"));
}

TEST(SATest, Close_Closed_DoesNotWaitForAReaderThatEnds) {
    SteppedAgent agent;
    Client client = agent.connectAndClose();
    SAPeer::endReader(*agent);
    EXPECT_FALSE(SAPeer::reader(*agent).idle());
    agent->close();
    EXPECT_NE(SAPeer::connection(*agent).get(), nullptr);  // it goes with the agent
}

// ---- set ----

TEST(SATest, Set_Null_ClosesTheFormerConnectionAndAttachesNothing) {
    Server server;
    Client client = server.connect(5);
    EXPECT_EQ(server->set(5, nullptr), 0);
    client.expectClosed();
    EXPECT_NE(SAPeer::state(server.agent(5)), CONNECTED);
}

TEST(SATest, Set_ClearsAPendingTimer) {
    Server server;
    Client client = server.connect(5);
    server.add(to(5).from(31).flagged(TIMED).stamped(60000));
    client.receive();
    EXPECT_NE(SAPeer::timedStamp(server.agent(5)), 0);
    Client again = server.connect(5);
    EXPECT_EQ(SAPeer::timedStamp(server.agent(5)), 0);
}

TEST(SATest, Set_OnAnAgentThatIsEnding_TakesNothing) {
    SteppedAgent agent;
    SAPeer::endReader(*agent);
    JSocket socket("127.0.0.1", 1);
    EXPECT_EQ(agent->set(&socket), 0);
    EXPECT_EQ(SAPeer::connection(*agent).get(), nullptr);
    SAPeer::state(*agent) = CONNECTED;  // would be waited for
    EXPECT_EQ(agent->set(&socket), 0);
}

TEST(SATest, Set_ByTwoThreadsAtOnce_LeavesOneConnectionAndBothReturn) {
    Server server;
    for (int round = 0; round < 5; round++) {
        Client first;
        Client second;
        {
            const support::Thread one([&] { first = server.attach(5); });
            second = server.attach(5);
        }
        EXPECT_TRUE(eventually([&] { return first.isOpen() != second.isOpen(); }));
        server.expectNothingElse(first.isOpen() ? first : second, 5);
    }
}

// ---- a client that is not connected ----

TEST(SATest, Run_AsksClientZeroAtOnceWhenAMessageWaits) {
    Server server;
    Client zero = server.connect(0);
    server.add(to(5).from(3));
    zero.expect(wakeUp(5, 3));
    server.expectState(5, ASKED);
    server.add(to(5).from(4));
    server.expectNothingElse(zero, 0);
}

TEST(SATest, Run_SendsWhatWasKept_FlaggedFirst_ThenPriorityZero_ThenTheRest) {
    Server server;
    int from = 0;
    for (const Wire& w : {Wire().urgency(255), Wire().urgency(1), Wire().urgency(0),
                          Wire().urgency(9).flagged(0x40), Wire().urgency(0)}) {
        M m = bus::message(Wire(w).to(5).from(++from));
        server.agent(5).add(m);
    }
    Client client = server.connect(5);
    for (const int next : {4, 3, 5, 1, 2}) EXPECT_EQ(client.receive().src, next);
}

TEST(SATest, Run_SendsAtOnceWhatArrivesForAnIdleClient) {
    Server server;
    Client client = server.connect(5);
    const net::Stopwatch watch;
    for (int i = 0; i < 10; i++) server.expectNothingElse(client, 5);
    EXPECT_LT(watch.ms(), net::LATE_MS);
}

TEST(SATest, Run_WhileConnected_KeepsNoPace) {
    Server server;
    Client client = server.connect(5);
    const net::Stopwatch watch;
    for (unsigned i = 0; i < 100; i++) {  // TIMED ones are sent by the agent's own thread
        server.add(to(5).from(3).flagged(TIMED).stamped(60000).about(i));
        EXPECT_EQ(client.receive().section, i);
    }
    EXPECT_LT(watch.ms(), net::LATE_MS) << "100 ms for each would be ten seconds";
}

// ---- TIMED ----

TEST(SATest, Timed_AnsweredInTime_NothingElseHappens) {
    Server server;
    Client zero = server.connect(0);
    Client client = server.connect(5);
    server.add(to(5).from(3).flagged(TIMED).stamped(60000).says("answer!"));
    EXPECT_EQ(client.receive().payload, "answer!");
    client.send(to(0).from(5).says("here"));
    zero.expect(to(0).from(5).says("here"));
    server.log.expect(agentLine(5, "clear timed time-stamp"));
    EXPECT_EQ(SAPeer::timedStamp(server.agent(5)), 0);
    server.expectNothingElse(client, 5);
    EXPECT_EQ(SAPeer::state(server.agent(5)), CONNECTED);
    client.send(to(0).from(5));  // the second message clears nothing
    zero.expect(to(0).from(5));
    EXPECT_EQ(server.log.count("clear timed time-stamp"), 1);
}

TEST(SATest, Timed_AnsweredByAnyMessage_EvenOneThatCannotBeRouted) {
    Server server;
    Client client = server.connect(5);
    server.add(to(5).from(3).flagged(TIMED).stamped(60000));
    client.receive();
    client.send(to(99).from(5));
    server.log.expect(agentLine(5, "clear timed time-stamp"));
}

TEST(SATest, Timed_AfterAnAnswer_TheNextOneSetsANewTimer) {
    Server server;
    Client client = server.connect(5);
    for (int i = 1; i <= 2; i++) {
        server.add(to(5).from(3).flagged(TIMED).stamped(60000));
        client.receive();
        EXPECT_NE(SAPeer::timedStamp(server.agent(5)), 0);
        client.send(to(99).from(5));
        server.log.expect(agentLine(5, "clear timed time-stamp"), i);
    }
}

TEST(SATest, Timed_Unanswered_AsksClientZeroAndSuspendsSending) {
    Server server;
    Client zero = server.connect(0);
    Client client = server.connect(5);
    server.add(to(5).from(3).flagged(TIMED).stamped(100));
    client.receive();
    server.log.expect(agentLine(5, "timed expire sync..."));
    zero.expect(wakeUp(5, 5));
    server.expectState(5, ASKED);
    server.add(to(5).from(3).says("kept"));
    EXPECT_TRUE(eventually([&] { return SAPeer::in(server.agent(5)) == 2; }));
    EXPECT_TRUE(client.isOpen());
    client.expectNothing();
    server.log.expectInOrder({agentLine(5, "timed message = 100"), agentLine(5, "timed expire sync...")});
    server.log.expectNo("clear timed");
}

TEST(SATest, Timed_Unanswered_TheClientIsStillHeard) {
    Server server;
    Client client = server.connect(5);
    Client other = server.connect(6);
    server.add(to(5).from(3).flagged(TIMED).stamped(1));
    server.log.expect(agentLine(5, "timed expire sync..."));
    client.send(to(6).from(5).says("too late"));
    other.expect(to(6).from(5).says("too late"));
    EXPECT_EQ(SAPeer::state(server.agent(5)), ASKED);
}

TEST(SATest, Timed_Unanswered_ANewConnectionTakesOver_AndTheOldOneIsReleased) {
    Server server;
    Client first = server.connect(5);
    const int descriptors = net::openDescriptors();
    for (int i = 0; i < 5; i++) {
        Client client = server.connect(5);
        EXPECT_EQ(SAPeer::state(server.agent(5)), CONNECTED);
        server.add(to(5).from(3).flagged(TIMED).stamped(1));
        client.receive();
        server.log.expect(agentLine(5, "timed expire sync..."), i + 1);
        server.expectState(5, ASKED);
        server.add(to(5).from(3).says("kept"));
        EXPECT_TRUE(eventually([&] { return !SAPeer::queue(server.agent(5)).isEmpty(); }));
        Client next = server.connect(5);
        client.expectClosed();
        next.expect(to(5).from(3).says("kept"));
    }
    first.expectClosed();
    first.close();
    Client last = server.connect(5);
    EXPECT_TRUE(eventually([&] { return net::openDescriptors() == descriptors; }));
}

TEST(SATest, Timed_Unanswered_TheClientMayGoByItself) {
    Server server;
    Client client = server.connect(5);
    server.add(to(5).from(3).flagged(TIMED).stamped(1));
    server.log.expect(agentLine(5, "timed expire sync..."));
    client.close();
    server.log.expect(agentLine(5, "disconnected!!!"));
    EXPECT_EQ(SAPeer::state(server.agent(5)), ASKED);
    Client again = server.connect(5);
    server.expectNothingElse(again, 5);
}

TEST(SATest, Timed_Unanswered_TheConnectionOutlivesTheServer) {
    Client client;
    {
        Server server;
        client = server.connect(5);
        server.add(to(5).from(3).flagged(TIMED).stamped(1));
        client.receive();
        server.log.expect(agentLine(5, "timed expire sync..."));
        EXPECT_LT(server.destroy(), PROMPT_MS);
    }
    EXPECT_TRUE(client.isOpen());
}

TEST(SATest, Timed_ToAnAbsentClient_TheTimeRunsFromTheSending) {
    Server server;
    server.add(to(5).from(3).flagged(TIMED).stamped(60000));
    EXPECT_TRUE(eventually([&] { return server.hasAgent(5) && !SAPeer::queue(server.agent(5)).isEmpty(); }));
    server.log.expectNo("timed message");
    const long long before = now();
    Client client = server.connect(5);
    client.receive();
    EXPECT_GE(SAPeer::timedStamp(server.agent(5)), before + 60000);
}

// ---- what the reader takes in ----

class SAReaderTest : public testing::Test {
protected:
    /** Waits until the server has taken in what was sent. */
    void expectTaken() {
        EXPECT_TRUE(eventually([&] {
            return server.withSocket(5, [](JSocket& socket) {
                int waiting = -1;
                return ioctl(JSocketPeer::number(socket), FIONREAD, &waiting) == 0 && waiting == 0;
            });
        }));
    }

    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(6);
    const Wire first = to(6).from(5).about(1);
    const Wire second = to(6).from(5).about(2).says("four");
    const Wire third = to(6).from(5).about(3).says("seventeen letters");
    const std::string all = first.bytes() + second.bytes() + third.bytes();

    void expectAll() {
        receiver.expect(first);
        receiver.expect(second);
        receiver.expect(third);
    }
};

TEST_F(SAReaderTest, TakesMessagesThatComeTogetherApart) {
    for (int i = 0; i < 100; i++) sender.send(all);
    for (int i = 0; i < 100; i++) expectAll();
}

TEST_F(SAReaderTest, PutsMessagesTogetherThatComeInTwoPieces_WhereverTheyAreSplit) {
    for (std::size_t i = 1; i < all.size(); i++) {
        sender.send(all.substr(0, i));
        expectTaken();
        sender.send(all.substr(i));
        expectAll();
    }
}

TEST_F(SAReaderTest, PutsMessagesTogetherThatComeByteByByte) {
    for (const char c : all) {
        sender.send(std::string(1, c));
        expectTaken();
    }
    expectAll();
}

TEST_F(SAReaderTest, TakesALengthOf16OrLessForAHeaderAlone) {
    for (const int length : {0, 1, 8, 15, 16}) {
        sender.send(to(6).from(5).about(4).claims(length));
        receiver.expect(to(6).from(5).about(4).claims(16));
    }
}

TEST_F(SAReaderTest, TakesAPayloadOfOneByteAndOfTheLargestSize) {
    for (const int size : {1, 65519}) {
        const Wire m = to(6).from(5).says(net::pattern(size));
        sender.send(m);
        receiver.expect(m);
    }
}

TEST_F(SAReaderTest, ACloseWithinAMessage_DropsItAndDisconnects) {
    for (std::size_t i = 1; i < second.bytes().size(); i++) {
        sender.send(second.bytes().substr(0, i));
        sender.close();
        server.log.expect(agentLine(5, "disconnected!!!"), static_cast<int>(i));
        sender = server.connect(5);
    }
    server.expectNothingElse(receiver, 6);
}

TEST_F(SAReaderTest, AResetDisconnects) {
    sender.reset();
    server.log.expect(agentLine(5, "disconnected!!!"));
    server.log.expect(agentLine(5, "close socket OK!!!"));
}

TEST_F(SAReaderTest, APayloadThatNeverCompletes_HoldsNothingButItsOwnConnection) {
    sender.send(to(6).from(5).claims(65535).says("the beginning"));
    expectTaken();
    Client other = server.connect(7);
    other.send(to(6).from(7).says("goes on"));
    receiver.expect(to(6).from(7).says("goes on"));
    server.add(to(5).from(7).says("is sent, too"));
    sender.expect(to(5).from(7).says("is sent, too"));
    sender = server.connect(5);
    server.expectNothingElse(receiver, 6);
}

TEST_F(SAReaderTest, ATimeOutWithinAPayload_DropsTheMessage_AndTheNextBytesAreAHeader) {
    const Wire cut = to(6).from(5).about(1).claims(32);
    const Wire next = to(6).from(5).about(2);
    for (int patience = 1500; patience < 20000; patience *= 2) {
        sender = server.attach(5, 1, 10);
        sender.send(cut);
        const net::Stopwatch watch;
        eventually([&] { return watch.ms() > patience; });
        sender.send(next);  // would be the payload if it came in time
        const Wire got = receiver.receive();
        if (got == Wire(next).claims(16)) return;
        EXPECT_EQ(got.payload, next.bytes());
    }
    ADD_FAILURE() << "the message was never dropped";
}

TEST_F(SAReaderTest, ATimeOutBetweenMessages_IsNothing) {
    sender = server.attach(5, 1, 10);
    const net::Stopwatch watch;
    eventually([&] { return watch.ms() > 1500; });
    sender.send(all);
    expectAll();
    EXPECT_EQ(server.log.count(agentLine(5, "disconnected!!!")), 1) << "besides the former connection's";
}

// ---- connections that end ----

TEST(SATest, Disconnection_IsLoggedAndTheSocketReleased) {
    Server server;
    const int descriptors = net::openDescriptors();
    Client client = server.connect(5);
    client.close();
    server.log.expect(agentLine(5, "close socket OK!!!"));
    server.log.expectInOrder({agentLine(5, "disconnected!!!"), agentLine(5, "close socket OK!!!")});
    EXPECT_TRUE(eventually([&] { return net::openDescriptors() == descriptors; }));
    EXPECT_EQ(SAPeer::connection(server.agent(5)).get(), nullptr);
}

TEST(SATest, AClientKilledWhileTheServerWrites_LosesWhatWasOnItsWay_AndNothingElse) {
    Server server;
    Client client = server.attach(5);
    const int count = server.stall(5);
    client.reset();
    server.log.expect(agentLine(5, "close socket OK!!!"));
    EXPECT_FALSE(SAPeer::queue(server.agent(5)).isEmpty());
    Client again = server.connect(5);
    const unsigned first = again.receive().section;
    EXPECT_GT(first, 0u);
    for (unsigned next = first + 1; next < static_cast<unsigned>(count); next++)
        EXPECT_EQ(again.receive().section, next);
}

TEST(SATest, AClientThatDoesNotRead_IsGivenUpAfterTheWriteWait) {
    Server server;
    Client client = server.attach(5, 60, 1);
    server.stall(5);
    server.log.expect(agentLine(5, "error send message!!!"));
    server.log.expect(agentLine(5, "close socket OK!!!"));
    client.expectClosed();
}

TEST(SATest, AClientThatReadsAgainInTime_MissesNothing) {
    Server server;
    Client client = server.attach(5);
    const int count = server.stall(5);
    for (unsigned i = 0; i < static_cast<unsigned>(count); i++) EXPECT_EQ(client.receive().section, i);
    server.expectNothingElse(client, 5);
    server.log.expectNo("error send");
}

TEST(SATest, AClientThatDoesNotRead_DoesNotStopTheOthers) {
    Server server;
    Client stalled = server.attach(5);
    Client one = server.connect(6);
    Client two = server.connect(7);
    server.stall(5);
    const net::Stopwatch watch;
    for (int i = 0; i < 200 && watch.ms() < 8000; i++) {
        one.send(to(7).from(6).flagged(i % 10 == 0 ? bus::BROADCAST : 0));
        two.expect(to(7).from(6));
        two.send(to(6).from(7));
        one.expect(to(6).from(7));
    }
    EXPECT_LT(watch.ms(), 8000);
    EXPECT_TRUE(server.isStalled(5));
    EXPECT_EQ(SAPeer::state(server.agent(5)), CONNECTED);
}

TEST(SATest, AClientThatDoesNotRead_GetsUrgentMessagesFirstAfterwards) {
    Server server;
    Client client = server.attach(5);
    const int count = server.stall(5);
    server.add(to(5).from(1).urgency(9).says("last"));
    server.add(to(5).from(1).urgency(0).says("urgent"));
    server.add(to(5).from(1).urgency(9).flagged(0x40).says("flagged"));
    EXPECT_TRUE(eventually([&] { return server->status().out == count + 3; }));
    std::vector<std::string> order;
    unsigned ordinary = 0;
    while (order.size() < 3) {
        const Wire m = client.receive();
        if (m.src == 31) {
            EXPECT_EQ(m.section, ordinary++);
            continue;
        }
        order.push_back(m.payload);
        EXPECT_EQ(ordinary == static_cast<unsigned>(count), order.size() == 3) << m.payload;
    }
    EXPECT_EQ(order, (std::vector<std::string>{"flagged", "urgent", "last"}));
}

// ---- the same id again ----

TEST(SATest, Reconnect_WhileTheOldConnectionIsOpen_ClosesTheOldOneFirst) {
    Server server;
    Client first = server.connect(5);
    Client second = server.connect(5);
    first.expectClosed();
    server.log.expectInOrder({bus::listenerLine(5), agentLine(5, "disconnected!!!"), bus::listenerLine(5)});
    server.expectNothingElse(second, 5);
    second.send(to(5).from(5).says("echo"));
    second.expect(to(5).from(5).says("echo"));
}

TEST(SATest, Reconnect_WhatHadArrivedOnTheFormerConnectionIsTaken) {
    Server server;
    Client receiver = server.connect(6);
    unsigned number = 0;
    for (int round = 0; round < 20; round++) {
        Client client = Client::connectedTo(server.port());
        std::string all = to(0).from(5).bytes();
        for (int i = 0; i < 500; i++) all += to(6).from(5).about(number++).bytes();
        client.send(all + to(6).from(5).says("cut").bytes().substr(0, 17));
        if (round % 2 == 0) client.close();
        Client next = Client::connectedTo(server.port());
        next.greet(5);
    }
    for (unsigned i = 0; i < number; i++) ASSERT_EQ(receiver.receive().section, i);
    server.expectNothingElse(receiver, 6);
}

TEST(SATest, Reconnect_AFormerConnectionThatGoesOnSendingIsClosedAllTheSame) {
    Server server;
    JSystem::debug(false);
    Client first = server.attach(5);
    std::atomic<bool> over{false};
    support::Thread flood([&] {
        std::string some;
        for (int i = 0; i < 100; i++) some += to(31).from(5).says(std::string(1000, '#')).bytes();
        while (!over && ::send(first.fd(), some.data(), some.size(), MSG_NOSIGNAL) > 0) {
        }
    });
    EXPECT_TRUE(eventually([&] { return server->status().in > 1000; }));
    const net::Stopwatch watch;
    Client second = server.attach(5);
    EXPECT_LT(watch.ms(), 8000);
    flood.join();
    over = true;
    second.send(to(5).from(5).says("echo"));
    second.expect(to(5).from(5).says("echo"));
}

TEST(SATest, Reconnect_WhileTheServerIsBlockedWritingToTheOldConnection_DoesNotWaitForIt) {
    Server server;
    Client first = server.attach(5);
    server.stall(5);
    const net::Stopwatch watch;
    Client second = server.connect(5);
    EXPECT_LT(watch.ms(), 8000);
    EXPECT_EQ(second.receive().payload.size(), 10000u);
    first.expectClosed();
}

TEST(SATest, Reconnect_AgainAndAgain_LeavesOneConnection) {
    Server server;
    Client client = server.connect(5);
    const int descriptors = net::openDescriptors();
    for (int i = 0; i < 20; i++) {
        if (i % 3 == 0) client.close();
        if (i % 3 == 1) client.reset();
        Client next = server.connect(5);
        client = std::move(next);
        if (i % 2 == 0) server.expectNothingElse(client, 5);
    }
    server.expectNothingElse(client, 5);
    EXPECT_TRUE(eventually([&] { return net::openDescriptors() == descriptors; }));
}

TEST(SATest, Reconnect_ManyAtOnce_TheLastOneStays) {
    constexpr int COUNT = 8;
    Server server;
    std::vector<Client> clients;
    for (int i = 0; i < COUNT; i++) {
        clients.push_back(Client::connectedTo(server.port()));
        clients.back().greet(5);
    }
    server.log.expect(bus::listenerLine(5), COUNT);
    for (int i = 0; i < COUNT - 1; i++) clients[static_cast<std::size_t>(i)].expectClosed();
    server.expectNothingElse(clients.back(), 5);
}

TEST(SATest, Reconnect_QueuedMessagesFollow_NoneTwice) {
    Server server;
    Client client = server.connect(5);
    for (unsigned i = 0; i < 300; i++) {
        server.add(to(5).from(3).about(i));
        EXPECT_EQ(client.receive().section, i);
        if (i % 50 == 49) {
            client.close();
            server.log.expect(agentLine(5, "disconnected!!!"), static_cast<int>(i) / 50 + 1);
            client = server.connect(5);
        }
    }
}

// ---- the end ----

TEST(SATest, Destructor_OfAnAgentThatWasNeverStarted_ReturnsAtOnce) {
    const net::Stopwatch watch;
    {
        SteppedAgent agent;
        agent.add(to(7));
    }
    EXPECT_LT(watch.ms(), PROMPT_MS);
}

TEST(SATest, Destructor_LogsTheEndOfBothThreads_WithOutAlwaysZero) {
    Server server;
    Client client = server.connect(5);
    Client other = server.connect(6);
    client.send(to(6).from(5));
    other.expect(to(6).from(5));  // the reader has the connection
    for (int i = 0; i < 3; i++) server.expectNothingElse(client, 5);
    server.destroy();
    server.log.expectInOrder({agentLine(5, "disconnected!!!"), agentLine(5, "terminate SA reader!!!")});
    server.log.expect(agentLine(5, "stop (in:3, out:0)"));
    EXPECT_EQ(server.log.count(agentLine(5, "terminate SA reader!!!")), 1);
}

TEST(SATest, Destructor_WithoutAConnection_LogsNoDisconnection) {
    Server server;
    server.add(to(5).from(3));
    server.expectState(5, ASKED);
    server.destroy();
    server.log.expect(agentLine(5, "terminate SA reader!!!"));
    server.log.expectNo(agentLine(5, "disconnected!!!"));
    server.log.expect(agentLine(5, "stop (in:1, out:0)"));
}

// ---- what takes its time ----

TEST(SASlowTest, WhileMessagesWait_ClientZeroIsAskedAgainAfter30Seconds) {
    Server server;
    Client zero = server.connect(0);
    server.add(to(5).from(3));
    zero.expect(wakeUp(5, 3));
    const net::Stopwatch watch;
    eventually([&] { return watch.ms() > 29000; });
    zero.expectNothing();
    zero.expect(wakeUp(5, 3));
    EXPECT_GE(watch.ms(), 29900);
    EXPECT_LT(watch.ms(), 30000 + 1100 + net::LATE_MS);
}

TEST(SASlowTest, AfterALoss_ClientZeroIsAskedNoSoonerThanThreeSecondsLater) {
    Server server;
    Client zero = server.connect(0);
    Client client = server.connect(5);
    client.close();
    const net::Stopwatch watch;
    server.log.expect(agentLine(5, "disconnected!!!"));
    server.add(to(5).from(3));
    zero.expect(wakeUp(5, 3));
    EXPECT_GE(watch.ms(), 2900);
    EXPECT_LT(watch.ms(), 3000 + 1100 + net::LATE_MS);
}

TEST(SASlowTest, AfterALoss_WhileNothingWaits_NobodyIsAsked) {
    Server server;
    Client zero = server.connect(0);
    Client client = server.connect(5);
    client.close();
    server.log.expect(agentLine(5, "close socket OK!!!"));
    server.expectState(5, ABSENT);
    server.expectNothingElse(zero, 0);
}

TEST(SASlowTest, AClientThatDoesNotRead_IsGivenUpAfter10Seconds) {
    Server server;
    Client client = server.attach(5);
    const net::Stopwatch watch;
    server.stall(5);
    server.log.expect(agentLine(5, "error send message!!!"));
    EXPECT_GE(watch.ms(), 9900);
    EXPECT_LT(watch.ms(), 10000 + net::LATE_MS);
    client.expectClosed();
}

TEST(SASlowTest, ATimedMessageIsWaitedFor_ForAsLongAsItSays) {
    Server server;
    Client zero = server.connect(0);
    Client client = server.connect(5);
    const net::Stopwatch watch;
    server.add(to(5).from(3).flagged(TIMED).stamped(5000));
    client.receive();
    zero.expect(wakeUp(5, 5));
    EXPECT_GE(watch.ms(), 4900);
    EXPECT_LT(watch.ms(), 6000 + net::LATE_MS);
}

TEST(SASlowTest, AMessageCutForAMinute_IsDropped_AndTheConnectionGoesOn) {
    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(6);
    sender.send(to(6).from(5).claims(32));
    const net::Stopwatch watch;
    while (watch.ms() < 62000) eventually([&] { return watch.ms() > 62000; });
    sender.send(to(6).from(5).says("next"));
    receiver.expect(to(6).from(5).says("next"));
    EXPECT_EQ(SAPeer::state(server.agent(5)), CONNECTED);
}

}  // namespace
