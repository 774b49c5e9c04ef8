#include "bus/detail/Outbox.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <vector>

#include "bus/OwnBurst.h"
#include "bus/SocketPair.h"

using bus::Client;
using bus::SocketPair;
using bus::SYNC;
using bus::TIMED;
using bus::to;
using bus::Wire;
using jay::detail::Outbox;

namespace {

class OutboxTest : public testing::Test {
protected:
    void add(const Wire& w) { queue.adoptQuietly(new M(bus::message(w))); }

    /** Fills the connection, with numbered messages, until one has left in part; many are left in the queue behind it. */
    void fillUntilARestIsLeft() {
        while (!outbox.hasRest()) {
            for (int i = 0; i < 10; i++)
                add(to(7).from(5).urgency(9).about(count++).says(std::string(701, '#')));
            outbox.offerAll(*socket, burst, 1);
        }
    }

    /** Sends the rest on a thread of its own, since it waits for the client. */
    std::unique_ptr<support::Thread> sendRest() {
        return std::make_unique<support::Thread>([this] { EXPECT_EQ(outbox.sendRest(*socket), 0); });
    }

    LQ queue{nullptr};
    Outbox outbox{queue};
    SocketPair pair{4096};
    Client& client = pair.client;
    std::unique_ptr<JSocket> socket{pair.socket};
    bus::OwnBurst burst;
    unsigned count = 0;
};

TEST_F(OutboxTest, Offer_OfAnEmptyQueueSendsNothing) {
    EXPECT_EQ(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    EXPECT_TRUE(outbox.offerAll(*socket, burst, 1));
    client.expectNothing();
}

TEST_F(OutboxTest, Offer_SendsTheFirstBand_AndTakesItOutOfTheQueue) {
    add(to(7).urgency(1).says("three"));
    add(to(7).says("one"));
    add(to(7).says("two"));
    EXPECT_NE(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_NE(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    for (const char* text : {"one", "two"}) client.expect(to(7).says(text));
    client.expect(to(7).urgency(1).says("three"));
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(OutboxTest, Offer_LeavesATimedMessageToItsTimer) {
    add(to(7).flagged(TIMED).stamped(5));
    EXPECT_EQ(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    EXPECT_FALSE(outbox.offerAll(*socket, burst, 1));
    EXPECT_EQ(queue.size(), 1);
    client.expectNothing();
}

TEST_F(OutboxTest, Offer_OnALostConnectionTakesNothing) {
    add(to(7));
    socket->shutdownOutput();
    EXPECT_EQ(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_FALSE(outbox.hasRest());
}

TEST_F(OutboxTest, Offer_ToAClientThatHasEndedItsSideSendsOneMessage) {
    for (unsigned i = 0; i < 3; i++) add(to(7).about(i));
    ASSERT_EQ(::shutdown(client.fd(), SHUT_WR), 0);
    EXPECT_TRUE(support::eventually([&] { return socket->isPeerClosed(); }));
    EXPECT_NE(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    EXPECT_EQ(queue.size(), 2);
    client.expect(to(7).about(0));
    client.expectNothing();
}

TEST_F(OutboxTest, OfferAll_ToAClientThatIsGoneLosesOneMessageOnly) {
    for (unsigned i = 0; i < 100; i++) add(to(7).about(i));
    client.reset();
    EXPECT_TRUE(support::eventually([&] { return socket->isPeerClosed(); }));
    EXPECT_FALSE(outbox.offerAll(*socket, burst, 16));
    EXPECT_GE(queue.size(), 99);
}

TEST_F(OutboxTest, OfferAll_StopsAfterSoManyBursts) {
    for (int band = 0; band < 3; band++) add(to(7).urgency(band).flagged(band == 2 ? SYNC : 0));
    EXPECT_FALSE(outbox.offerAll(*socket, burst, 2));
    EXPECT_EQ(queue.size(), 1);
    EXPECT_TRUE(outbox.offerAll(*socket, burst, 2));
}

TEST_F(OutboxTest, OfferAll_WhileARestIsLeft_SendsNothing) {
    fillUntilARestIsLeft();
    const int left = queue.size();
    for (unsigned i = 0; i < 20; i++) EXPECT_EQ(client.receive().section, i);  // there is room again
    EXPECT_FALSE(outbox.offerAll(*socket, burst, 100));
    EXPECT_EQ(queue.size(), left);
}

TEST_F(OutboxTest, AMessageThatLeftInPart_IsContinuedBeforeAnythingElse) {
    fillUntilARestIsLeft();
    const unsigned begun = count - static_cast<unsigned>(queue.size());
    add(to(7).flagged(SYNC).says("urgent"));
    const auto sender = sendRest();
    for (unsigned i = 0; i < begun; i++) {
        const Wire m = client.receive();
        ASSERT_EQ(m.section, i);
        ASSERT_EQ(m.payload, std::string(701, '#'));
    }
    sender->join();
    EXPECT_FALSE(outbox.hasRest());
    EXPECT_NE(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    client.expect(to(7).flagged(SYNC).says("urgent"));
}

TEST_F(OutboxTest, OfABurstTakenInPart_WhatWasNotBegunIsOvertaken) {
    fillUntilARestIsLeft();
    ASSERT_GT(queue.size(), 0) << "the burst was taken up to its last message";
    const unsigned begun = count - static_cast<unsigned>(queue.size());
    add(to(7).says("urgent"));
    const auto sender = sendRest();
    for (unsigned i = 0; i < begun; i++) ASSERT_EQ(client.receive().section, i);
    sender->join();
    EXPECT_NE(outbox.offer(*socket, burst), Outbox::NOTHING_TAKEN);
    client.expect(to(7).says("urgent"));
}

TEST_F(OutboxTest, SendRest_OnALostConnectionFails_AndTheRestIsGone) {
    fillUntilARestIsLeft();
    socket->shutdownOutput();
    EXPECT_NE(outbox.sendRest(*socket), 0);
    EXPECT_FALSE(outbox.hasRest());
}

TEST_F(OutboxTest, DropRest_TellsWhetherThereWasOne) {
    EXPECT_FALSE(outbox.dropRest());
    fillUntilARestIsLeft();
    EXPECT_TRUE(outbox.dropRest());
    EXPECT_FALSE(outbox.hasRest());
    EXPECT_FALSE(outbox.dropRest());
}

TEST_F(OutboxTest, Send_WaitsForTheClient) {
    M m = bus::message(to(7).says(std::string(65000, 'x')));
    support::Thread sender([&] { EXPECT_EQ(Outbox::send(*socket, m), 0); });
    client.expect(to(7).says(std::string(65000, 'x')));
}

}  // namespace
