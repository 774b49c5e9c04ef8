/**
 * @file What one message costs the server, in calls: a regression fails here on any machine, however busy.
 *
 * The numbers are exact. Who makes a path cheaper lowers them; who raises one says why in the commit.
 */
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "bus/SM.h"
#include "bus/Wire.h"
#include "counts/Counters.h"
#include "net/JSocket.h"
#include "net/Peer.h"
#include "support/Thread.h"
#include "system/JSystem.h"

using bus::BROADCAST;
using bus::to;
using bus::Wire;
using counts::Counters;

namespace {

constexpr long ROUNDS = 200;

class BusCountsTest : public testing::Test {
protected:
    void SetUp() override {
        counts::leaveOut();
        JSystem::debug(false);
        server.start();
        ASSERT_EQ(server.waitUntilListening(30000), 0);
    }

    /** A client that is attached. */
    net::Peer attach(int id) {
        net::Listener listener;
        net::Peer client = net::Peer::connectedTo(listener.port());
        EXPECT_EQ(server.set(id, new JSocket(listener.accept().release())), 1);
        return client;
    }

    static void exchange(net::Peer& sender, net::Peer& receiver, const Wire& m) {
        sender.send(m.bytes());
        EXPECT_EQ(receiver.receive(m.bytes().size()).size(), m.bytes().size());
    }

    /** Waits until nobody is at work. Numbers that stand still are not enough: a thread may be ready and not run. */
    static Counters settled() {
        Counters before;
        EXPECT_TRUE(support::eventually([&] {
            const Counters now = counts::taken();
            const bool still = now.receives == before.receives && now.polls == before.polls &&
                               now.locks == before.locks && now.waits == before.waits;
            before = now;
            return still && othersSleep();
        }));
        return before;
    }

    /** Whether all threads but the calling one sleep. */
    static bool othersSleep() {
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            if (thread.path().filename() == std::to_string(gettid())) continue;
            std::string stat;
            std::getline(std::ifstream(thread.path() / "stat"), stat);
            if (stat.find(") S ") == std::string::npos) return false;
        }
        return true;
    }

    SM server{net::freePort()};
};

TEST_F(BusCountsTest, AMessageOnAQuietBus) {
    net::Peer five = attach(5);
    net::Peer seven = attach(7);
    const Wire m = to(7).from(5).says(std::string(48, 'x'));
    for (int i = 0; i < 10; i++) exchange(five, seven, m);  // storage that grows once
    settled();
    counts::reset();
    for (int i = 0; i < ROUNDS; i++) exchange(five, seven, m);
    const Counters n = settled();
    EXPECT_EQ(n.sends, ROUNDS);
    EXPECT_EQ(n.receives, ROUNDS);
    EXPECT_EQ(n.polls, ROUNDS);
    EXPECT_EQ(n.allocations, ROUNDS) << "the message with its bytes";
    EXPECT_EQ(n.locks, 7 * ROUNDS);
    EXPECT_EQ(n.waits, 0);
    EXPECT_EQ(n.signals, 0);
    EXPECT_EQ(n.clocks, ROUNDS) << "the limit of the reader's wait";
}

TEST_F(BusCountsTest, ABurstOf100Messages) {
    constexpr long EACH = 100;
    net::Peer five = attach(5);
    net::Peer seven = attach(7);
    std::string all;
    for (unsigned i = 0; i < EACH; i++) all += to(7).from(5).about(i).says(std::string(48, 'x')).bytes();
    const auto round = [&] {
        five.send(all);
        EXPECT_EQ(seven.receive(all.size()).size(), all.size());
    };
    for (int i = 0; i < 10; i++) round();
    settled();
    counts::reset();
    round();
    const Counters n = settled();
    EXPECT_EQ(n.sends, 1);
    EXPECT_EQ(n.receives, 1);
    EXPECT_EQ(n.polls, 2) << "waits for the burst, and looks at the receiver before its own";
    EXPECT_EQ(n.allocations, EACH);
    EXPECT_EQ(n.locks, 2 * EACH + 5) << "out of the inbound queue, into the outbound one";
    EXPECT_EQ(n.waits, 0);
    EXPECT_EQ(n.signals, 0);
}

TEST_F(BusCountsTest, ABroadcastToTenClients) {
    constexpr int CLIENTS = 10;
    net::Peer five = attach(31);
    std::vector<net::Peer> receivers;
    for (int id = 0; id < CLIENTS; id++) receivers.push_back(attach(id));
    const Wire m = to(0).from(31).flagged(BROADCAST).says(std::string(48, 'x'));
    const auto round = [&] {
        five.send(m.bytes());
        for (net::Peer& receiver : receivers)
            EXPECT_EQ(receiver.receive(m.bytes().size()).size(), m.bytes().size());
    };
    for (int i = 0; i < 10; i++) round();
    settled();
    counts::reset();
    for (int i = 0; i < ROUNDS; i++) round();
    const Counters n = settled();
    EXPECT_EQ(n.sends, CLIENTS * ROUNDS);
    EXPECT_EQ(n.receives, ROUNDS);
    EXPECT_EQ(n.polls, ROUNDS);
    EXPECT_EQ(n.allocations, 2 * ROUNDS) << "the message, and what the queues share";
    EXPECT_EQ(n.waits, 0);
    EXPECT_EQ(n.signals, 0);
}

}  // namespace
