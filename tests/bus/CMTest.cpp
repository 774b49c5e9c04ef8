#include "bus/CM.h"

#include <ctime>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <vector>

#include "bus/Server.h"

using bus::Client;
using bus::CMPeer;
using bus::JSocketPeer;
using bus::listenerLine;
using bus::PROMPT_MS;
using bus::SAPeer;
using bus::Server;
using bus::SMPeer;
using bus::to;
using bus::Wire;
using support::eventually;

namespace {

constexpr char FAILURE[] = "CM>> error connect CA!!!\n";

const std::string& greeting(int id) {
    static std::string bytes;
    return bytes = to(0).from(id).bytes();
}

/** Waits until the listener has taken in all that the connection which it greets has sent. */
void expectTaken(const Server& server) {
    EXPECT_TRUE(eventually([&] {
        return server.withGreeted([](JSocket& socket) {
            int waiting = -1;
            return ioctl(JSocketPeer::number(socket), FIONREAD, &waiting) == 0 && waiting == 0;
        });
    }));
}

// ---- the greeting ----

TEST(CMTest, AGreeting_AttachesTheConnectionToTheAgentOfItsSourceId) {
    Server server;
    Client client = Client::connectedTo(server.port());
    client.greet(7);
    server.log.expect("CM>> CA(7) connected OK!!!\n");
    EXPECT_EQ(SAPeer::state(server.agent(7)), 2);
    server.expectNothingElse(client, 7);
}

TEST(CMTest, AGreeting_CountsByItsSourceIdOnly) {
    Server server;
    Client client = Client::connectedTo(server.port());
    client.send(to(65535).from(7).flagged(255).urgency(255).stamped(~0U).about(~0U).claims(65535));
    server.log.expect(listenerLine(7));
    server.expectNothingElse(client, 7);
}

TEST(CMTest, AGreeting_Is16BytesWhateverLengthItClaims_TheRestIsTheFirstMessage) {
    Server server;
    Client receiver = server.connect(6);
    for (const int length : {0, 8, 16, 17, 65535}) {
        Client client = Client::connectedTo(server.port());
        client.send(to(0).from(7).claims(length).bytes() + to(6).from(7).says("first").bytes());
        receiver.expect(to(6).from(7).says("first"));
    }
}

TEST(CMTest, AGreeting_MayComeInTwoPieces_WhereverItIsSplit) {
    Server server;
    for (std::size_t i = 1; i < bus::HEADER; i++) {
        const int id = static_cast<int>(i);
        Client client = Client::connectedTo(server.port());
        client.send(greeting(id).substr(0, i));
        expectTaken(server);
        client.send(greeting(id).substr(i));
        server.log.expect(listenerLine(id));
        server.expectNothingElse(client, id);
    }
}

TEST(CMTest, AGreeting_MayComeByteByByte) {
    Server server;
    Client client = Client::connectedTo(server.port());
    for (std::size_t i = 0; i < bus::HEADER; i++) {
        client.send(greeting(9).substr(i, 1));
        if (i + 1 < bus::HEADER) expectTaken(server);
    }
    server.log.expect(listenerLine(9));
}

TEST(CMTest, AConnection_HasNoDelay) {
    Server server;
    Client client = server.connect(7);
    EXPECT_TRUE(server.withSocket(
        7, [](JSocket& s) { return net::option(JSocketPeer::number(s), IPPROTO_TCP, TCP_NODELAY) == 1; }));
}

TEST(CMTest, AConnectionThatEndsBeforeItsGreetingDoes_IsReleasedAndLogged) {
    Server server;
    const int descriptors = net::openDescriptors();
    for (std::size_t i = 0; i < bus::HEADER; i++) {
        Client client = Client::connectedTo(server.port());
        client.send(greeting(7).substr(0, i));
        if (i % 2 == 0) {
            client.close();
        } else {
            client.reset();
        }
        server.log.expect(FAILURE, static_cast<int>(i) + 1);
    }
    EXPECT_FALSE(server.hasAgent(7));
    EXPECT_EQ(net::openDescriptors(), descriptors);
    Client next = server.connect(7);
    server.expectNothingElse(next, 7);
}

TEST(CMTest, OneConnectionIsGreetedAtATime) {
    Server server;
    Client silent = Client::connectedTo(server.port());
    Client waiting = Client::connectedTo(server.port());
    waiting.greet(6);
    EXPECT_TRUE(eventually([&] { return server.isGreeting(); }));
    server.log.expectNo(listenerLine(6));
    silent.close();
    server.log.expect(listenerLine(6));
    server.log.expectInOrder({FAILURE, listenerLine(6)});
}

TEST(CMTest, ManyConnectionsAtOnce_AreAllServed) {
    Server server;
    std::vector<Client> clients;
    for (int id = 0; id < 32; id++) {
        clients.push_back(Client::connectedTo(server.port()));
        clients.back().greet(id);
    }
    for (int id = 0; id < 32; id++) server.log.expect(listenerLine(id));
    for (int id = 0; id < 32; id++) server.expectNothingElse(clients[static_cast<std::size_t>(id)], id);
}

// ---- ids that are not those of clients ----

TEST(CMTest, AGreetingWithAnIdOf32OrAbove_IsLoggedAsConnected_ButMakesNoAgent) {
    Server server;
    std::vector<Client> clients;
    for (const int id : {32, 40, 65535}) {
        clients.push_back(server.connect(id));
        clients.back().send(to(7).from(id));
    }
    Client next = server.connect(7);
    server.expectNothingElse(next, 7);
    for (int id = 0; id < 32; id++) EXPECT_EQ(server.hasAgent(id), id == 7);
    for (const Client& client : clients) EXPECT_TRUE(client.isOpen());
    server.log.expectNo(FAILURE);
}

TEST(CMTest, ARefusedConnection_IsReleasedWhenItsPeerGoes) {
    Server server;
    const int descriptors = net::openDescriptors();
    {
        std::vector<Client> clients;
        for (int i = 0; i < 10; i++) clients.push_back(server.connect(40));
        EXPECT_EQ(net::openDescriptors(), descriptors + 20);
    }
    EXPECT_TRUE(eventually([&] { return net::openDescriptors() == descriptors; }));
}

// ---- this machine only ----

/** An address of this machine that is not one of loopback, in network order; 0 if it has none. */
in_addr_t outerAddress() {
    ifaddrs* all = nullptr;
    in_addr_t found = 0;
    if (getifaddrs(&all) != 0) return 0;
    for (const ifaddrs* one = all; one != nullptr && found == 0; one = one->ifa_next) {
        if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET || (one->ifa_flags & IFF_UP) == 0)
            continue;
        const auto& address = reinterpret_cast<const sockaddr_in*>(one->ifa_addr)->sin_addr;
        if ((ntohl(address.s_addr) >> 24) != IN_LOOPBACKNET) found = address.s_addr;
    }
    freeifaddrs(all);
    return found;
}

/** A connection within this machine, from one of its addresses to another. */
Client connectedBetween(in_addr_t from, in_addr_t to, int port) {
    Client client(net::Peer(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    sockaddr_in near{};
    near.sin_family = AF_INET;
    near.sin_addr.s_addr = from;
    EXPECT_EQ(::bind(client.fd(), net::raw(near), sizeof near), 0);
    sockaddr_in far = net::loopback(port);
    far.sin_addr.s_addr = to;
    EXPECT_EQ(::connect(client.fd(), net::raw(far), sizeof far), 0);
    return client;
}

const in_addr_t LOOPBACK = htonl(INADDR_LOOPBACK);

TEST(CMTest, ForThisMachineOnly_ServesEveryLoopbackAddress) {
    Server server;
    server->setLocalOnly(true);
    int id = 0;
    for (const char* from : {"127.0.0.1", "127.0.0.2", "127.255.255.254"}) {
        Client client = connectedBetween(inet_addr(from), LOOPBACK, server.port());
        client.greet(++id);
        server.log.expect(listenerLine(id));
        server.expectNothingElse(client, id);
    }
}

TEST(CMTest, ForThisMachineOnly_ServesAClientThatConnectsToTheMachinesOwnAddress) {
    const in_addr_t outer = outerAddress();
    if (outer == 0) GTEST_SKIP() << "this machine has loopback addresses only";
    Server server;
    server->setLocalOnly(true);
    Client client = connectedBetween(outer, outer, server.port());
    client.greet(7);
    server.log.expect(listenerLine(7));
    server.expectNothingElse(client, 7);
}

TEST(CMTest, ForThisMachineOnly_ClosesAConnectionFromAnyOtherAddressAtOnce) {
    const in_addr_t outer = outerAddress();
    if (outer == 0) GTEST_SKIP() << "this machine has loopback addresses only";
    Server server;
    server->setLocalOnly(true);
    const int descriptors = net::openDescriptors();
    for (int i = 0; i < 3; i++) {
        Client stranger = connectedBetween(outer, LOOPBACK, server.port());
        stranger.expectClosed();  // although it has not greeted
        server.log.expect(
            std::string("CM>> ") + inet_ntoa(in_addr{outer}) + " is another machine, closed!!!\n", i + 1);
    }
    EXPECT_TRUE(eventually([&] { return net::openDescriptors() == descriptors; }));
    Client client = server.connect(7);
    server.expectNothingElse(client, 7);
}

TEST(CMTest, ByDefault_EveryAddressIsServed) {
    const in_addr_t outer = outerAddress();
    if (outer == 0) GTEST_SKIP() << "this machine has loopback addresses only";
    Server server;
    Client client = connectedBetween(outer, LOOPBACK, server.port());
    client.greet(7);
    server.log.expect(listenerLine(7));
    server.expectNothingElse(client, 7);
}

TEST(CMTest, FromHere_IsAPeerWithALoopbackAddressOrOurOwn) {
    net::Listener listener;
    const net::Peer near = net::Peer::connectedTo(listener.port());
    JSocket socket(listener.accept().release());
    EXPECT_TRUE(CMPeer::isFromHere(socket));
    for (const char* here : {"127.0.0.0", "127.0.0.1", "127.1.2.3", "127.255.255.255"}) {
        socket.setHost(here);
        EXPECT_TRUE(CMPeer::isFromHere(socket)) << here;
    }
    for (const char* elsewhere : {"128.0.0.1", "126.255.255.255", "12.7.0.1", "1.127.0.0", "10.0.0.1",
                                  "192.168.127.1", "0.0.0.0", "255.255.255.255", "invalid_socket", ""}) {
        socket.setHost(elsewhere);
        EXPECT_FALSE(CMPeer::isFromHere(socket)) << elsewhere;
    }
}

TEST(CMTest, FromHere_IsNotAPeerThatCannotBeTold) {
    JSocket unconnected(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_FALSE(CMPeer::isFromHere(unconnected));
}

// ---- trouble ----

TEST(CMTest, WithoutAFreeDescriptor_TheListenerWaits_AndGoesOnAfterwards) {
    Server server;
    Client client(net::Peer(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    const sockaddr_in address = net::loopback(server.port());
    {
        const net::FullTable full;
        ASSERT_EQ(::connect(client.fd(), net::raw(address), sizeof address), 0);
        client.greet(5);
        const net::Stopwatch watch;
        const std::clock_t used = std::clock();
        eventually([&] { return watch.ms() > 500; });
        EXPECT_LT((std::clock() - used) * 1000 / CLOCKS_PER_SEC, 250) << "the listener spins";
        server.log.expectNo(listenerLine(5));
    }
    server.log.expect(listenerLine(5));
    server.expectNothingElse(client, 5);
}

TEST(CMTest, WhileThePortIsInUse_TheListenerWaitsAndDoesNotSpin) {
    const support::DebugLog log;
    net::Listener other;
    SM sm(other.port());
    sm.start();
    ASSERT_EQ(sm.waitUntilListening(30000), EADDRINUSE);
    const net::Stopwatch watch;
    const std::clock_t used = std::clock();
    eventually([&] { return watch.ms() > 500; });
    EXPECT_LT((std::clock() - used) * 1000 / CLOCKS_PER_SEC, 250);
}

TEST(CMTest, ASignalDoesNotEndTheListener) {
    Server server;
    for (int i = 0; i < 3; i++) pthread_kill(SMPeer::listener(*server)->getHandle(), SIGHUP);
    Client client = server.connect(5);
    server.expectNothingElse(client, 5);
}

// ---- the end ----

TEST(CMTest, Constructor_StartsNothing) {
    SM sm(net::freePort());
    const CM listener(&sm, 7000);
    EXPECT_EQ(CMPeer::serverSocket(listener), nullptr);
    EXPECT_EQ(CMPeer::port(listener), 7000);
    EXPECT_FALSE(CMPeer::isStopped(listener));
}

TEST(CMTest, Stop_EndsAListenerThatWaitsForConnections) {
    Server server;
    CM& listener = *SMPeer::listener(*server);
    const net::Stopwatch watch;
    listener.stop();
    listener.join();
    EXPECT_LT(watch.ms(), 900) << "it was not woken";
}

TEST(CMTest, Stop_EndsAListenerThatWaitsForAGreeting) {
    Server server;
    Client silent = Client::connectedTo(server.port());
    EXPECT_TRUE(eventually([&] { return server.isGreeting(); }));
    CM& listener = *SMPeer::listener(*server);
    const net::Stopwatch watch;
    listener.stop();
    listener.join();
    EXPECT_LT(watch.ms(), PROMPT_MS);
    server.log.expectNo("CM>>");
    EXPECT_TRUE(silent.isOpen());
}

TEST(CMTest, Stop_BeforeTheStart_LetsItNeverListen) {
    SM sm(net::freePort());
    CM listener(&sm, SMPeer::port(sm));
    listener.stop();
    listener.start();
    listener.join();
    EXPECT_EQ(CMPeer::serverSocket(listener), nullptr);
    EXPECT_EQ(sm.waitUntilListening(0), -1);
}

TEST(CMTest, Destructor_OfAListenerThatWaitsForAnAgent_ReturnsPromptly) {
    Server server;
    Client first = server.connect(5);
    server.agent(5).stop();  // its thread ends: nobody will ever close the former connection
    server.agent(5).join();
    Client second = Client::connectedTo(server.port());
    second.greet(5);
    server.log.expect(bus::agentLine(5, "disconnected!!!"));
    EXPECT_LT(server.destroy(), PROMPT_MS);
    second.expectClosed();
}

TEST(CMTest, Destructor_ReleasesThePort) {
    Server server;
    Client client = server.connect(5);
    const int port = server.port();
    server.destroy();
    JServerSocket again(port);
    EXPECT_EQ(again.getError(), 0);
}

// ---- what takes its time ----

TEST(CMSlowTest, AConnectionThatSaysNothing_HoldsUpTheOthersForAMinute_AndIsThenForgotten) {
    Server server;
    const int descriptors = net::openDescriptors();
    Client silent = Client::connectedTo(server.port());
    EXPECT_TRUE(eventually([&] { return server.isGreeting(); }));
    const net::Stopwatch watch;
    Client waiting = Client::connectedTo(server.port());
    waiting.greet(6);
    while (watch.ms() < 59000 && !HasFailure()) eventually([&] { return watch.ms() > 59000; });
    server.log.expectNo("CM>>");
    server.log.expect(listenerLine(6));
    EXPECT_GE(watch.ms(), 59900);
    EXPECT_EQ(server.log.text(), listenerLine(6)) << "a greeting that was cut is not logged";
    EXPECT_TRUE(silent.isOpen());
    silent.greet(5);  // too late
    server.expectNothingElse(waiting, 6);
    EXPECT_FALSE(server.hasAgent(5));
    silent.close();
    waiting.close();
    EXPECT_TRUE(eventually([&] { return net::openDescriptors() == descriptors; }));
}

}  // namespace
