#include "bus/SM.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <vector>

#include "bus/Server.h"
#include "support/LQPeer.h"
#include "support/WallClock.h"

using bus::agentLine;
using bus::BROADCAST;
using bus::Client;
using bus::PROMPT_MS;
using bus::SAPeer;
using bus::Server;
using bus::SMPeer;
using bus::SYNC;
using bus::TIMED;
using bus::to;
using bus::wakeUp;
using bus::Wire;
using jay::detail::LQPeer;
using support::eventually;

namespace {

/** A manager whose thread does not run: what is added stays where the test can look at it. */
class IdleManager {
public:
    SM* operator->() { return &sm; }
    SM& operator*() { return sm; }

    void add(const Wire& w) {
        M m = bus::message(w);
        sm.add(m);
    }

    /** Takes the next message of the inbound queue. */
    Wire take() {
        const std::unique_ptr<M> m(SMPeer::queue(sm).get());
        return m != nullptr ? bus::wire(*m) : Wire();
    }

    support::DebugLog log;
    SM sm{net::freePort()};
};

// ---- construction ----

TEST(SMTest, Constructor_StartsNothing) {
    IdleManager server;
    EXPECT_EQ(SMPeer::listener(server.sm), nullptr);
    EXPECT_FALSE(SMPeer::isStopped(server.sm));
    EXPECT_EQ(SMPeer::in(server.sm), 0);
    EXPECT_EQ(SMPeer::out(server.sm), 0u);
    for (SA* slot : SMPeer::slots(server.sm)) EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(server.log.text(), "");
}

TEST(SMTest, WaitUntilListening_GivesZeroOnceClientsCanConnect) {
    Server server;
    EXPECT_EQ(server->waitUntilListening(0), 0);
    Client client = Client::connectedTo(server.port());
    EXPECT_TRUE(client.isOpen());
}

TEST(SMTest, WaitUntilListening_TellsThatThePortIsInUse) {
    net::Listener other;
    SM second(other.port());
    second.start();
    EXPECT_EQ(second.waitUntilListening(30000), EADDRINUSE);
}

TEST(SMTest, WaitUntilListening_GivesMinusOneWhenTheTimeIsUp) {
    SM never(7000);
    const net::Stopwatch watch;
    EXPECT_EQ(never.waitUntilListening(20), -1);
    EXPECT_GE(watch.ms(), 20);
    EXPECT_LT(watch.ms(), 900);
}

TEST(SMTest, WaitUntilListening_EndsInTime_WhenTheTimeOfDayIsSetBack) {
    SM never(7000);
    const net::Stopwatch watch;
    support::Thread waiting([&] { EXPECT_EQ(never.waitUntilListening(300), -1); });
    EXPECT_TRUE(waiting.fallsAsleep());
    const support::WallClock back(-support::AN_HOUR_MS);
    waiting.join();
    EXPECT_LT(watch.ms(), 300 + net::LATE_MS);
}

// ---- status ----

TEST(SMTest, Status_OfANewServerIsEmpty) {
    IdleManager server;
    const SM::Status status = server->status();
    EXPECT_EQ(status.in, 0);
    EXPECT_EQ(status.out, 0);
    EXPECT_EQ(status.waiting, 0);
    for (const SM::ClientStatus& client : status.clients) {
        EXPECT_EQ(client.state, -1);
        EXPECT_EQ(client.queued, 0);
        EXPECT_EQ(client.in, 0);
        EXPECT_STREQ(client.host, "");
        EXPECT_EQ(client.port, 0);
    }
}

TEST(SMTest, Status_CountsWhatIsNotRoutedYet) {
    IdleManager server;
    server.add(to(7));
    server.add(to(7).flagged(SYNC));
    EXPECT_EQ(server->status().in, 2);
    EXPECT_EQ(server->status().waiting, 2);
    EXPECT_EQ(server->status().out, 0);
    server.take();
    EXPECT_EQ(server->status().waiting, 1);
}

TEST(SMTest, Status_TellsWhereAClientIsConnectedFrom) {
    Server server;
    Client client = server.connect(31);
    server.expectNothingElse(client, 31);
    server.expectSent(31);  // it leaves the queue after it has left for the client
    const SM::ClientStatus status = server->status().clients[31];
    EXPECT_EQ(status.state, 2);
    EXPECT_EQ(status.queued, 0);
    EXPECT_EQ(status.in, 1);
    EXPECT_STREQ(status.host, "127.0.0.1");
    EXPECT_EQ(status.port, client.port());
    EXPECT_EQ(server->status().clients[30].state, -1);
}

TEST(SMTest, Status_CountsWhatWaitsForAClientThatIsAway) {
    Server server;
    for (int i = 0; i < 3; i++) server.add(to(7).from(5));
    server.expectState(7, 1);
    EXPECT_TRUE(eventually([&] { return server->status().clients[7].queued == 3; }));  // all are routed
    const SM::ClientStatus status = server->status().clients[7];
    EXPECT_EQ(status.state, 1);
    EXPECT_EQ(status.in, 3);
    EXPECT_STREQ(status.host, "");
    EXPECT_EQ(status.port, 0);
}

TEST(SMTest, Status_OfAClientThatHasGone_TellsNoAddress) {
    Server server;
    Client client = server.connect(7);
    client.close();
    server.log.expect(agentLine(7, "close socket OK!!!"));
    const SM::ClientStatus status = server->status().clients[7];
    EXPECT_EQ(status.state, 4);
    EXPECT_STREQ(status.host, "");
    EXPECT_EQ(status.port, 0);
}

TEST(SMTest, Status_DoesNotWaitForAClientThatDoesNotRead) {
    Server server;
    Client client = server.attach(7);
    const int sent = server.stall(7);
    const net::Stopwatch watch;
    EXPECT_TRUE(eventually([&] { return server->status().clients[7].in == sent; }));  // all are routed
    const SM::ClientStatus status = server->status().clients[7];
    EXPECT_LT(watch.ms(), net::LATE_MS)
        << "it has waited for the agent, which waits for its client for ten seconds";
    EXPECT_GT(status.queued, 0);
    EXPECT_LT(status.queued, sent);
}

TEST(SMTest, Status_WhileClientsComeAndGo_IsSafe) {
    Server server;
    std::atomic<bool> over{false};
    support::Thread asker([&] {
        while (!over) {
            const SM::Status status = server->status();
            for (const SM::ClientStatus& client : status.clients)
                EXPECT_EQ(client.host[0] == 0, client.port == 0);
        }
    });
    for (int round = 0; round < 20; round++) {
        const int id = round % 4;
        Client client = server.connect(id);
        client.send(to(id).from(id).says("hello"));
        client.receive();
    }
    over = true;
    asker.join();
    EXPECT_EQ(server->status().waiting, 0);
}

// ---- add ----

TEST(SMTest, Add_CountsAndQueuesACopy) {
    IdleManager server;
    M m = bus::message(to(7).from(5).says("first"));
    server->add(m);
    m.setDestId(9);
    server->add(m);
    EXPECT_EQ(SMPeer::in(*server), 2);
    EXPECT_EQ(server.take(), to(7).from(5).says("first").claims(21));
    EXPECT_EQ(server.take().dest, 9);
}

TEST(SMTest, Add_WakesTheManager) {
    IdleManager server;
    server.add(to(7));
    EXPECT_EQ(SMPeer::event(*server).count(), 1);
}

TEST(SMTest, Add_DropsAMessageThatNoHeaderCanTellTheLengthOf) {
    IdleManager server;
    M m = bus::message(to(7));
    m.addBytes(JByte(M::MAX_SIZE - M::HEADER_SIZE));
    server->add(m);
    EXPECT_EQ(SMPeer::in(*server), 1);
    m.addByte(1);
    server->add(m);
    EXPECT_EQ(SMPeer::in(*server), 1);
}

TEST(SMTest, Add_MayBeCalledByManyThreads) {
    constexpr int EACH = 1000;
    IdleManager server;
    {
        std::vector<std::unique_ptr<support::Thread>> threads;
        for (int i = 0; i < 4; i++)
            threads.push_back(std::make_unique<support::Thread>([&] {
                for (int n = 0; n < EACH; n++) server.add(to(7).from(5));
            }));
    }
    EXPECT_EQ(SMPeer::in(*server), 4 * EACH);
}

TEST(SMTest, Notify_SignalsTheEvent) {
    IdleManager server;
    EXPECT_EQ(server->notify(), 0);
    EXPECT_EQ(SMPeer::event(*server).count(), 1);
}

// ---- set ----

TEST(SMTest, Set_RefusesIdsThatAreNotThoseOfClients_AndLeavesTheSocketAlone) {
    IdleManager server;
    net::Listener listener;
    net::Peer peer = net::Peer::connectedTo(listener.port());
    JSocket socket(listener.accept().release());
    for (const int id : {32, 40, 65535, -1}) EXPECT_EQ(server->set(id, &socket), 0) << id;
    EXPECT_TRUE(socket.isConnected());
    peer.expectNothing();
    for (SA* slot : SMPeer::slots(*server)) EXPECT_EQ(slot, nullptr);
}

TEST(SMTest, Set_MakesAndStartsAnAgentOnFirstNeed_AndKeepsIt) {
    Server server;
    EXPECT_FALSE(server.hasAgent(5));
    Client first = server.connect(5);
    ASSERT_TRUE(server.hasAgent(5));
    SA* const agent = &server.agent(5);
    EXPECT_EQ(SAPeer::id(*agent), 5);
    first.close();
    Client second = server.connect(5);
    EXPECT_EQ(&server.agent(5), agent);
}

TEST(SMTest, Set_TakesEveryIdFrom0To31) {
    Server server;
    for (const int id : {0, 1, 30, 31}) {
        Client client = server.connect(id);
        server.add(to(id).from(5).says("hello"));
        client.expect(to(id).from(5).says("hello"));
    }
}

// ---- routing to one client ----

TEST(SMTest, Route_DeliversAMessageUnchangedToItsDestination) {
    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(7);
    const Wire m =
        to(7).from(5).urgency(3).stamped(123456789).about(0xFEDCBA98).says(std::string("\0\1payload", 9));
    sender.send(m);
    receiver.expect(m);
    server.log.expect("SM>> q3(0) : 7 <-- 5\n");
}

TEST(SMTest, Route_TakesTheSenderFromTheHeader_NotFromTheConnection) {
    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(7);
    sender.send(to(7).from(77).says("x"));
    receiver.expect(to(7).from(77).says("x"));
    server.log.expect("SM>> q0(0) : 7 <-- 77\n");
}

TEST(SMTest, Route_DeliversToTheSenderItself) {
    Server server;
    Client client = server.connect(5);
    client.send(to(5).from(5).says("echo"));
    client.expect(to(5).from(5).says("echo"));
}

TEST(SMTest, Route_CountsWhatItRouted) {
    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(7);
    for (int i = 0; i < 3; i++) {
        sender.send(to(7).from(5));
        receiver.expect(to(7).from(5));
    }
    sender.send(to(32).from(5));
    server.log.expect("SM>> error dest id = 32\n");
    server->stop();
    server.log.expect("SM>> stop SM(in:4, out:3)\n");
    server.log.expectInOrder({"SM>> q0(0) : 7 <-- 5\n", "SM>> q0(1) : 7 <-- 5\n", "SM>> q0(2) : 7 <-- 5\n"});
}

TEST(SMTest, Route_LogsAndDropsADestinationOf32AndAbove) {
    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(7);
    for (const int dest : {32, 33, 65535}) {
        sender.send(to(dest).from(5));
        server.log.expect("SM>> error dest id = " + std::to_string(dest) + "\n");
    }
    sender.send(to(7).from(5).says("next"));
    receiver.expect(to(7).from(5).says("next"));
    server.log.expect("SM>> q0(0) : 7 <-- 5\n");
}

TEST(SMTest, Route_KeepsMessagesForAClientThatHasNeverConnected_UntilItDoes) {
    Server server;
    Client zero = server.connect(0);
    Client sender = server.connect(3);
    sender.send(to(5).from(3).says("kept"));
    zero.expect(wakeUp(5, 3));
    EXPECT_TRUE(server.hasAgent(5));
    Client late = server.connect(5);
    late.expect(to(5).from(3).says("kept"));
}

TEST(SMTest, Route_KeepsMessagesForAClientThatHasGone) {
    Server server;
    Client receiver = server.connect(7);
    receiver.close();
    server.log.expect(agentLine(7, "disconnected!!!"));
    for (int i = 0; i < 100; i++) server.add(to(7).from(5).says(std::to_string(i)));
    Client again = server.connect(7);
    for (int i = 0; i < 100; i++) again.expect(to(7).from(5).says(std::to_string(i)));
}

TEST(SMTest, Run_RoutesBandByBand_InTheOrderOfArrivalWithinEach) {
    IdleManager server;
    int id = 1;
    for (const Wire& w : {Wire().urgency(9), Wire().urgency(1), Wire().urgency(0), Wire().urgency(2),
                          Wire().urgency(1), Wire().urgency(0), Wire().urgency(7).flagged(SYNC)})
        server.add(Wire(w).to(6).from(id++));
    server->start();
    server.log.expect(" : 6 <-- ", 6);
    server->stop();
    server->join();
    // The numbers in between may count messages of the agents, which ask for their clients.
    server.log.expectInOrder({"SM>> q7(0) : 0 <-- 7\n", " : 6 <-- 3\n", " : 6 <-- 6\n", " : 6 <-- 2\n",
                              " : 6 <-- 5\n", " : 6 <-- 1\n", " : 6 <-- 4\n", "SM>> stop SM(in:"});
}

// ---- the log and the delivery ----

/** A server with an agent whose own thread does not run: only the routing loop sends to its client. */
class RoutingLoopTest : public testing::Test {
protected:
    /** A client whose agent does not run, attached. */
    Client attach(int id) {
        net::Listener listener;
        Client client = Client::connectedTo(listener.port());
        agents.push_back(new SA(&server.sm, id));
        SMPeer::slots(*server)[id] = agents.back();
        EXPECT_EQ(agents.back()->set(new JSocket(listener.accept().release())), 1);
        while (SAPeer::event(*agents.back()).count() > 0) SAPeer::event(*agents.back()).wait(0);
        return client;
    }

    std::vector<SA*> agents;
    IdleManager server;
};

TEST_F(RoutingLoopTest, DeliversBeforeItLogs) {
    Client client = attach(7);
    {
        const support::DebugLog::Blocked blocked(server.log);
        server->start();
        server.add(to(7).from(5).says("first"));
        client.expect(to(7).from(5).says("first"));
        EXPECT_EQ(server.log.text(), "");
    }
    server.log.expect("SM>> q0(0) : 7 <-- 5\n");
}

TEST_F(RoutingLoopTest, LogsABroadcastBeforeItDelivers) {
    Client client = attach(7);
    {
        const support::DebugLog::Blocked blocked(server.log);
        server->start();
        server.add(to(7).from(5).flagged(BROADCAST));
        EXPECT_TRUE(eventually([&] { return SMPeer::queue(*server).isEmpty(); }));
        client.expectNothing();
    }
    client.expect(to(7).from(5));
}

TEST_F(RoutingLoopTest, OfSeveralReceiversInARoundEachIsTold) {
    JSystem::debug(false);
    std::vector<Client> clients;
    for (int id = 5; id < 8; id++) clients.push_back(attach(id));
    for (int id = 5; id < 8; id++) server.add(to(id).from(1));
    server->start();
    for (int id = 5; id < 8; id++) clients[static_cast<std::size_t>(id) - 5].expect(to(id).from(1));
}

TEST_F(RoutingLoopTest, OfSeveralReceiversOfABroadcastEachIsTold) {
    JSystem::debug(false);
    std::vector<Client> clients;
    for (int id = 5; id < 8; id++) clients.push_back(attach(id));
    server.add(to(1).from(1).flagged(BROADCAST));
    server->start();
    for (int id = 5; id < 8; id++) clients[static_cast<std::size_t>(id) - 5].expect(to(id).from(1));
}

TEST_F(RoutingLoopTest, InALongRoundAgentsAreToldAfter128Messages) {
    constexpr unsigned ROUND = 128;
    JSystem::debug(false);
    Client client = attach(7);
    for (unsigned i = 0; i < ROUND; i++) server.add(to(7).from(5).about(i));
    server.add(to(8).from(5));
    const jay::detail::ScopedLock guard(SMPeer::slotLock(*server));  // the loop stops where it makes agent 8
    server->start();
    for (unsigned i = 0; i < ROUND; i++) client.expect(to(7).from(5).about(i));
}

TEST_F(RoutingLoopTest, WhenTheLogIsSwitchedOnInARoundWhoHasMessagesIsToldFirst) {
    JSystem::debug(false);
    Client client = attach(7);
    const support::DebugLog::Blocked blocked(server.log);
    {
        const jay::detail::ScopedLock guard(
            SMPeer::slotLock(*server));  // the loop stops where it makes agent 8
        server.add(to(7).from(5));
        server.add(to(8).from(5));
        server.add(to(32).from(5));
        server->start();
        EXPECT_TRUE(eventually([&] { return SMPeer::queue(*server).size() == 1; }));
        JSystem::debug(true);
    }
    client.expect(to(7).from(5));
}

// ---- who routes ----

/** A manager whose own thread does not run, with clients that are connected. */
class ReadersRouteTest : public testing::Test {
protected:
    Client attach(int id) {
        net::Listener listener;
        Client client = Client::connectedTo(listener.port());
        EXPECT_EQ(server->set(id, new JSocket(listener.accept().release())), 1);
        return client;
    }

    IdleManager server;
    Client five = attach(5);
    Client seven = attach(7);
};

TEST_F(ReadersRouteTest, WhileTheLogIsOff) {
    JSystem::debug(false);
    for (int i = 0; i < 100; i++) {
        five.send(to(7).from(5).says("there"));
        seven.expect(to(7).from(5).says("there"));
        seven.send(to(1).from(7).flagged(BROADCAST).says("and back"));
        five.expect(to(5).from(7).says("and back"));
    }
    EXPECT_EQ(server->status().out, 200);
    EXPECT_EQ(server->status().in, 200);
    EXPECT_EQ(SMPeer::event(*server).count(), 0) << "the manager's thread was woken for nothing";
}

TEST_F(ReadersRouteTest, ButNotWhileTheLogIsOn) {
    five.send(to(7).from(5));
    EXPECT_TRUE(eventually([&] { return SMPeer::event(*server).count() == 1; }));
    EXPECT_EQ(server->status().waiting, 1);
    EXPECT_EQ(server->status().out, 0);
    seven.expectNothing();
}

TEST_F(ReadersRouteTest, MoreUrgentMessagesOfOneReceiveFirst) {
    JSystem::debug(false);
    five.send(to(7).from(5).urgency(9).bytes() + to(7).from(5).urgency(1).bytes() + to(7).from(5).bytes());
    for (const int priority : {0, 1, 9}) EXPECT_EQ(seven.receive().priority, priority);
}

TEST_F(ReadersRouteTest, BroadcastsAndMessagesInTheOrderInWhichTheyCame) {
    JSystem::debug(false);
    Client six = attach(6);
    std::string all;
    for (unsigned i = 0; i < 90; i++) {
        const int src = i % 30 < 20 ? 5 : 6;
        all += to(7).from(src).about(i).flagged(i % 3 != 0 ? BROADCAST : 0).bytes();
    }
    five.send(all);
    for (unsigned i = 0; i < 90; i++) EXPECT_EQ(seven.receive().section, i);
    for (unsigned i = 0; i < 90; i++) {
        if (i % 3 == 0) continue;
        Client& other = i % 30 < 20 ? six : five;
        EXPECT_EQ(other.receive().section, i);
    }
}

TEST_F(ReadersRouteTest, NothingAfterTheManagerWasStopped) {
    JSystem::debug(false);
    server->stop();
    five.send(to(7).from(5));
    EXPECT_TRUE(eventually([&] { return server->status().waiting == 1; }));
    seven.expectNothing();
}

TEST_F(ReadersRouteTest, NoMoreThanOneReceiveBrings_AndLeaveTheRestToTheManager) {
    constexpr int COUNT = 5000;
    constexpr int SHARE = 512;
    JSystem::debug(false);
    for (int i = 0; i < COUNT; i++) server.add(to(7).from(1));
    SMPeer::event(*server).wait(0);
    five.send(to(7).from(5));
    EXPECT_TRUE(eventually([&] { return SMPeer::event(*server).count() == 1; }))
        << "the manager is not notified";
    EXPECT_EQ(server->status().out, SHARE);
    EXPECT_EQ(server->status().waiting, COUNT + 1 - SHARE);
    server->start();
    EXPECT_TRUE(eventually([&] { return server->status().waiting == 0; }));
}

TEST_F(ReadersRouteTest, ManyAtOnceLoseNothing) {
    constexpr unsigned EACH = 20000 / bus::SLOWNESS;
    JSystem::debug(false);
    server->start();  // it routes as well
    std::vector<Client> senders;
    for (int id = 1; id <= 4; id++) senders.push_back(attach(id));
    std::vector<std::unique_ptr<support::Thread>> threads;
    for (int id = 1; id <= 4; id++)
        threads.push_back(std::make_unique<support::Thread>([&, id] {
            for (unsigned i = 0; i < EACH; i++)
                senders[static_cast<std::size_t>(id) - 1].send(to(7).from(id).about(i));
        }));
    unsigned next[5] = {};
    for (unsigned i = 0; i < 4 * EACH; i++) {
        const Wire m = seven.receive();
        ASSERT_EQ(m.section, next[m.src]++) << "from " << m.src;
    }
}

TEST(SMTest, TheLogSwitchedOnAndOff_LosesNothing) {
    Server server;
    Client sender = server.connect(5);
    Client receiver = server.connect(7);
    std::atomic<bool> over{false};
    support::Thread switcher([&] {
        for (bool on = false; !over; on = !on) JSystem::debug(on);
        JSystem::debug(true);
    });
    support::Thread sending([&] {
        for (unsigned i = 0; i < 20000; i++) sender.send(to(7).from(5).about(i));
    });
    for (unsigned i = 0; i < 20000; i++) ASSERT_EQ(receiver.receive().section, i);
    over = true;
}

// ---- SYNC ----

TEST(SMTest, Route_SendsSyncMessagesToClientZero_WhateverTheirDestination) {
    Server server;
    Client zero = server.connect(0);
    Client seven = server.connect(7);
    Client sender = server.connect(5);
    for (const int dest : {7, 0, 40, 65535}) {
        sender.send(to(dest).from(5).flagged(SYNC));
        zero.expect(to(dest).from(5).flagged(SYNC));
    }
    server.log.expect(" : 0 <-- 5\n", 4);
    server.log.expectNo("error dest");
    server.expectNothingElse(seven, 7);
}

TEST(SMTest, Route_KeepsSyncMessagesWhileClientZeroIsAbsent) {
    Server server;
    server.add(to(7).from(5).flagged(SYNC));
    server.log.expect("SM>> q0(0) : 0 <-- 5\n");
    Client zero = server.connect(0);
    zero.expect(to(7).from(5).flagged(SYNC));
}

// ---- broadcast ----

TEST(SMTest, Broadcast_ReachesEveryOtherConnectedClient_WithItsOwnIdAndFlagZero) {
    Server server;
    std::vector<Client> clients;
    for (int id = 0; id < 6; id++) clients.push_back(server.connect(id));
    clients[4].close();
    server.log.expect(agentLine(4, "disconnected!!!"));

    clients[3].send(to(1).from(3).flagged(BROADCAST).urgency(2).stamped(9).about(8).says("all"));
    for (const int id : {0, 1, 2, 5})
        clients[static_cast<size_t>(id)].expect(to(id).from(3).urgency(2).stamped(9).about(8).says("all"));
    server.expectNothingElse(clients[3], 3);
    server.log.expect("SM>> q2(0) : ALL <-- 3\n");
    server.log.expect("SM>> q255(1) : 3 <-- 31\n");  // counted once

    Client late = server.connect(4);
    server.expectNothingElse(late, 4);
}

TEST(SMTest, Broadcast_MakesNoAgents) {
    Server server;
    Client sender = server.connect(3);
    sender.send(to(1).from(3).flagged(BROADCAST));
    server.log.expect("SM>> q0(0) : ALL <-- 3\n");
    server.expectNothingElse(sender, 3);
    for (int id = 0; id < SM::MAX_CLIENTS; id++) EXPECT_EQ(server.hasAgent(id), id == 3) << id;
}

TEST(SMTest, Broadcast_WithSyncIsABroadcastAllTheSame_WithAnyDestination) {
    Server server;
    Client zero = server.connect(0);
    Client one = server.connect(1);
    Client sender = server.connect(3);
    sender.send(to(40).from(3).flagged(BROADCAST | SYNC).says("all"));
    zero.expect(to(0).from(3).says("all"));
    one.expect(to(1).from(3).says("all"));
    server.log.expect("SM>> q0(0) : ALL <-- 3\n");
}

TEST(SMTest, Broadcast_WithoutSyncNeedsADestinationBelow32) {
    Server server;
    Client one = server.connect(1);
    Client sender = server.connect(3);
    sender.send(to(32).from(3).flagged(BROADCAST));
    server.log.expect("SM>> error dest id = 32\n");
    server.expectNothingElse(one, 1);
}

TEST(SMTest, Broadcast_OfATimedMessageSetsNoTimer) {
    Server server;
    Client one = server.connect(1);
    Client sender = server.connect(3);
    sender.send(to(1).from(3).flagged(BROADCAST | TIMED).stamped(50));
    one.expect(to(1).from(3).stamped(50));
    server.expectNothingElse(one, 1);
    server.log.expectNo("timed");
}

TEST(SMTest, Broadcast_PassesOverWhoIsNamedAsSender) {
    Server server;
    Client one = server.connect(1);
    Client three = server.connect(3);
    three.send(to(1).from(1).flagged(BROADCAST));  // claims to be client 1
    three.expect(to(3).from(1));
    server.expectNothingElse(one, 1);
}

TEST(SMTest, Broadcast_ToAClientThatReadsSlowly_ComesWholeAndAddressed) {
    constexpr unsigned COUNT = 20;
    Server server;
    Client slow = server.attach(5);
    Client quick = server.connect(6);
    const auto message = [](int dest, unsigned number) {
        return to(dest).from(31).about(number).says(std::string(number % 2 == 0 ? 10000 : 100, '#'));
    };
    for (unsigned i = 0; i < COUNT; i++) server.add(message(1, i).flagged(BROADCAST));
    for (unsigned i = 0; i < COUNT; i++) quick.expect(message(6, i));
    EXPECT_TRUE(eventually([&] { return server.isStalled(5); }));
    for (unsigned i = 0; i < COUNT; i++) slow.expect(message(5, i));
}

TEST(SMTest, Broadcast_ThatWaitsForAClient_ComesWithItsNextConnection) {
    constexpr unsigned COUNT = 20;
    Server server;
    Client first = server.attach(5);
    for (unsigned i = 0; i < COUNT; i++)
        server.add(to(1).from(31).flagged(BROADCAST).about(i).says(std::string(10000, '#')));
    EXPECT_TRUE(eventually([&] { return server.isStalled(5) && server->status().out == COUNT; }));
    first.reset();
    server.log.expect(agentLine(5, "close socket OK!!!"));
    Client second = server.connect(5);
    const unsigned next = second.receive().section;
    EXPECT_GT(next, 0U);
    for (unsigned i = next + 1; i < COUNT; i++)
        second.expect(to(5).from(31).about(i).says(std::string(10000, '#')));
}

// ---- many at once ----

constexpr int MANY = 31;

/** Client `id` (1..31) sends numbered messages to the next one and takes what the one before sends. */
void passOn(Client& client, int id, int count) {
    const int next = id % MANY + 1;
    const int before = (id + MANY - 2) % MANY + 1;
    const auto message = [](int from, int dest, int i) {
        return to(dest)
            .from(from)
            .urgency(7)
            .about(static_cast<unsigned>(i))
            .says(std::string(static_cast<size_t>(i % 60), 'x'));
    };
    for (int i = 0; i < count; i++) client.send(message(id, next, i));
    for (int i = 0; i < count && !testing::Test::HasFailure(); i++) client.expect(message(before, id, i));
}

TEST(SMTest, ThirtyOneClientsAtOnce_LoseNothingAndKeepTheOrder) {
    constexpr int EACH = 100000 / bus::SLOWNESS / MANY + 1;
    Server server;
    std::vector<Client> clients;
    for (int id = 1; id <= MANY; id++) clients.push_back(server.connect(id));
    JSystem::debug(false);
    {
        std::vector<std::unique_ptr<support::Thread>> threads;
        for (int id = 1; id <= MANY; id++)
            threads.push_back(std::make_unique<support::Thread>(
                [&, id] { passOn(clients[static_cast<size_t>(id) - 1], id, EACH); }));
    }
    EXPECT_EQ(SMPeer::in(*server), MANY * EACH);
    EXPECT_LT(server.destroy(), PROMPT_MS + net::LATE_MS);
}

TEST(SMTest, SeveralServersInOneProcess_DoNotMix) {
    Server first;
    SM second(net::freePort());
    second.start();
    ASSERT_EQ(second.waitUntilListening(30000), 0);
    Client here = first.connect(5);
    Client there = Client::connectedTo(SMPeer::port(second));
    there.greet(5);
    here.send(to(5).from(5).says("here"));
    there.send(to(5).from(5).says("there"));
    here.expect(to(5).from(5).says("here"));
    there.expect(to(5).from(5).says("there"));
}

// ---- the end ----

TEST(SMTest, Stop_EndsTheRoutingLoopAtOnce) {
    Server server;
    const net::Stopwatch watch;
    server->stop();
    server->join();
    EXPECT_LT(watch.ms(), 1000);  // it is woken, it does not come to look
    server.log.expect("SM>> stop SM(in:0, out:0)\n");
}

TEST(SMTest, Stop_WhileAMessageIsRouted_TheAgentStillHearsOfIt) {
    IdleManager server;
    auto* const agent = new SA(&server.sm, 7);  // its thread does not run
    SMPeer::slots(*server)[7] = agent;
    server->start();
    {
        const jay::detail::ScopedLock guard(LQPeer::lock(SAPeer::queue(*agent)));
        server.add(to(7).from(5));
        EXPECT_TRUE(eventually([&] { return SMPeer::queue(*server).isEmpty(); }));
        server->stop();
    }
    server->join();
    EXPECT_FALSE(SAPeer::queue(*agent).isEmpty());
    EXPECT_EQ(SAPeer::event(*agent).count(), 1);
}

TEST(SMTest, Stop_LeavesTheListenerRunning_ButNothingIsRouted) {
    Server server;
    Client before = server.connect(5);
    server->stop();
    server->join();
    Client after = server.connect(6);
    after.send(to(5).from(6));
    before.send(to(6).from(5));
    EXPECT_TRUE(eventually([&] { return SMPeer::in(*server) == 2; }));
    server.log.expectNo("<--");
    before.expectNothing();
    EXPECT_LT(server.destroy(), PROMPT_MS);
}

TEST(SMTest, Destructor_OfAServerThatWasNeverStarted_ReturnsAtOnce) {
    const net::Stopwatch watch;
    {
        IdleManager server;
        server.add(to(7).from(5));
    }
    EXPECT_LT(watch.ms(), PROMPT_MS);
}

TEST(SMTest, Destructor_OfAServerThatWasNeverStarted_EndsItsAgents) {
    const net::Stopwatch watch;
    net::Peer peer;
    {
        IdleManager server;
        net::Listener listener;
        peer = net::Peer::connectedTo(listener.port());
        EXPECT_EQ(server->set(5, new JSocket(listener.accept().release())), 1);
    }
    EXPECT_LT(watch.ms(), PROMPT_MS);
}

TEST(SMTest, Destructor_OfAServerJustStarted_CatchesItBeforeItListens) {
    const support::DebugLog log;
    for (int i = 0; i < 200 / bus::SLOWNESS; i++) {
        const net::Stopwatch watch;
        {
            SM sm(net::freePort());
            sm.start();
        }
        EXPECT_LT(watch.ms(), PROMPT_MS);
    }
}

TEST(SMTest, Destructor_WhilePortIsInUse_ReturnsPromptly) {
    const support::DebugLog log;
    net::Listener other;
    SM* const sm = new SM(other.port());
    sm->start();
    EXPECT_EQ(sm->waitUntilListening(30000), EADDRINUSE);
    const net::Stopwatch watch;
    delete sm;
    EXPECT_LT(watch.ms(), PROMPT_MS);
}

TEST(SMTest, Destructor_WithConnectionsThatNeverGreeted_ReturnsPromptlyAndClosesThem) {
    Server server;
    Client first = Client::connectedTo(server.port());
    Client second = Client::connectedTo(server.port());
    second.send(std::string(15, '\0'));
    EXPECT_TRUE(eventually([&] { return server.isGreeting(); }));
    EXPECT_LT(server.destroy(), PROMPT_MS);
    first.expectClosed();
    second.expectClosed();
}

TEST(SMTest, Destructor_WithConnectionsThatWereRefused_ReleasesThem) {
    Server server;
    Client client = server.connect(40);
    server.destroy();
    client.expectClosed();
}

TEST(SMTest, Destructor_WithStalledWriters_ReturnsPromptly) {
    Server server;
    std::vector<Client> clients;
    for (int id = 0; id < 10; id++) {
        clients.push_back(server.attach(id));
        server.stall(id);
    }
    EXPECT_LT(server.destroy(), PROMPT_MS + net::LATE_MS);
    for (Client& client : clients) client.expectClosed();
}

TEST(SMTest, Destructor_With31ConnectedClients_ReturnsPromptlyAndClosesTheConnections) {
    Server server;
    std::vector<Client> clients;
    for (int id = 1; id <= MANY; id++) clients.push_back(server.connect(id));
    EXPECT_LT(server.destroy(), PROMPT_MS + net::LATE_MS);
    for (Client& client : clients) client.expectClosed();
    for (int id = 1; id <= MANY; id++) {
        server.log.expectInOrder(
            {agentLine(id, "terminate SA reader!!!"), agentLine(id, "stop (in:0, out:0)")});
    }
}

/** Connects, greets and sends, over and over; from the middle of it the connection goes away. */
void pester(int port, int id, const std::atomic<bool>& over) {
    const sockaddr_in address = net::loopback(port);
    const timeval moment{0, 50000};
    const std::string some = to(0).from(id).bytes() + to((id + 1) % 4).from(id).bytes();
    while (!over) {
        const net::Fd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        setsockopt(fd.number(), SOL_SOCKET, SO_SNDTIMEO, &moment, sizeof moment);
        if (::connect(fd.number(), net::raw(address), sizeof address) != 0) continue;
        for (int i = 0; i < 5; i++) ::send(fd.number(), some.data(), some.size(), MSG_NOSIGNAL);
    }
}

TEST(SMTest, Destructor_WhileClientsSendAndConnect_IsSafe) {
    for (int round = 0; round < 10; round++) {
        Server server;
        std::atomic<bool> over{false};
        std::vector<std::unique_ptr<support::Thread>> threads;
        for (int id = 0; id < 4; id++)
            threads.push_back(std::make_unique<support::Thread>(
                [&over, port = server.port(), id] { pester(port, id, over); }));
        server.log.expect("<--", 5);
        EXPECT_LT(server.destroy(), PROMPT_MS + net::LATE_MS);
        over = true;
    }
}

TEST(SMTest, Destructor_FreesTheMessagesStillQueued) {
    Server server;
    for (int i = 0; i < 2500; i++) server.add(to(7).from(5));
    EXPECT_LT(server.destroy(), PROMPT_MS);
}

TEST(SMTest, AutoDelete_DestroysTheServerOnItsOwnThread) {
    const support::DebugLog log;
    const int threads = bus::runningThreads();
    SM* const sm = new SM(net::freePort());
    sm->setAutoDelete(true);
    sm->start();
    ASSERT_EQ(sm->waitUntilListening(30000), 0);
    Client client = Client::connectedTo(SMPeer::port(*sm));
    client.greet(5);
    log.expect(bus::listenerLine(5));
    sm->stop();
    client.expectClosed();
    log.expect(agentLine(5, "stop (in:0, out:0)"));
    EXPECT_TRUE(eventually([threads] { return bus::runningThreads() == threads; }));
}

TEST(SMTest, Destructor_LeavesNoDescriptorsOpen) {
    const int before = net::openDescriptors();
    for (int round = 0; round < 3; round++) {
        Server server;
        Client a = server.connect(5);
        Client b = server.connect(40);
        Client c = Client::connectedTo(server.port());
        server.add(to(5).from(5));
        server.destroy();
    }
    EXPECT_EQ(net::openDescriptors(), before);
}

}  // namespace
