/** @file What one message costs a client, in calls; see BusCountsTest.cpp. */
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "bus/CA.h"
#include "bus/ca.h"
#include "bus/Wire.h"
#include "counts/Counters.h"
#include "net/Peer.h"
#include "support/Thread.h"

using bus::to;
using counts::Counters;

namespace {

constexpr long ROUNDS = 200;

/** Client 5 and, in place of a server, the other end of its connection. */
class ClientCountsTest : public testing::Test {
protected:
    void SetUp() override {
        counts::leaveOut();
        counts::reset();
        client = ca_open(5, "127.0.0.1", listener.port());
        server = listener.accept();
        EXPECT_EQ(server.receive(bus::HEADER).size(), bus::HEADER);
        expectWaits(1);
    }
    void TearDown() override {
        server.close();
        ca_close(client);
    }

    /** The reading thread waits, for the n-th time since the last reset. */
    static void expectWaits(long n) {
        EXPECT_TRUE(support::eventually([n] { return counts::taken().polls == n; }));
    }

    /** What a call costs its thread. */
    static Counters costOf(const std::function<void()>& call) {
        support::Thread([&] {
            call();  // what happens once
            counts::reset();
            for (int i = 0; i < ROUNDS; i++) call();
        }).join();
        return counts::taken();
    }

    net::Listener listener;
    net::Peer server;
    ca_handle client = nullptr;
};

TEST_F(ClientCountsTest, AWrite) {
    std::string bytes = to(7).from(5).says(std::string(48, 'x')).bytes();
    const Counters n = costOf([&] {
        EXPECT_EQ(ca_write(client, &bytes[0], static_cast<int>(bytes.size())),
                  static_cast<int>(bytes.size()));
    });
    EXPECT_EQ(n.sends, ROUNDS);
    EXPECT_EQ(n.polls, 0);
    EXPECT_EQ(n.receives, 0);
    EXPECT_EQ(n.allocations, ROUNDS) << "the message's bytes";
    EXPECT_EQ(n.locks, ROUNDS);
    EXPECT_EQ(n.clocks, ROUNDS) << "the time stamp";
}

TEST_F(ClientCountsTest, ARead_ThatFindsNothing) {
    char buffer[64];
    const Counters n = costOf([&] { EXPECT_EQ(ca_read(client, buffer, sizeof buffer), 0); });
    EXPECT_EQ(n.sends + n.polls + n.receives + n.allocations + n.locks + n.clocks, 0);
}

TEST_F(ClientCountsTest, AMessageThatArrives) {
    const std::string bytes = to(5).from(7).says(std::string(48, 'x')).bytes();
    char buffer[64];
    const auto round = [&] {
        server.send(bytes);
        EXPECT_TRUE(
            support::eventually([&] { return ca_read(client, buffer, sizeof buffer) == sizeof buffer; }));
    };
    for (int i = 0; i < 10; i++) round();
    expectWaits(11);
    counts::reset();
    for (int i = 0; i < ROUNDS; i++) round();
    expectWaits(ROUNDS);
    const Counters n = counts::taken();
    EXPECT_EQ(n.receives, ROUNDS);
    EXPECT_EQ(n.allocations, ROUNDS) << "the message with its bytes";
    EXPECT_EQ(n.locks, 2 * ROUNDS) << "the bands', the event's";
    EXPECT_EQ(n.clocks, ROUNDS) << "the limit of the reader's wait";
    EXPECT_EQ(n.signals, ROUNDS) << "the event's; no system call while nobody waits for it";
    EXPECT_EQ(n.waits, 0);
}

}  // namespace
