#include "bus/detail/MessageReader.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bus/Bytes.h"
#include "bus/Wire.h"
#include "net/JSocket.h"
#include "net/Peer.h"
#include "support/JSocketPeer.h"
#include "support/Thread.h"

using bus::hex;
using bus::text;
using bus::to;
using bus::Wire;
using jay::detail::JSocketPeer;
using jay::detail::MessageReader;

namespace {

class MessageReaderTest : public testing::Test {
protected:
    MessageReaderTest() : socket(listener.accept().release()), messages(socket) {}

    /** The next message's bytes; a word for the other results. */
    std::string next() {
        std::unique_ptr<M> m;
        switch (messages.next(m)) {
            case MessageReader::MESSAGE:
                return text(m->JMessage::toByteArray());
            case MessageReader::TIMED_OUT:
                return "time-out";
            case MessageReader::ENDED:
                break;
        }
        EXPECT_EQ(m, nullptr);
        return "end";
    }

    void expect(const std::string& bytes) { EXPECT_EQ(hex(next()), hex(bytes)); }

    /** Sends a part and waits until it has been taken off the connection. */
    void sendAndWait(const std::string& part) {
        peer.send(part);
        EXPECT_TRUE(support::eventually([this] {
            int waiting = -1;
            return ioctl(JSocketPeer::number(socket), FIONREAD, &waiting) == 0 && waiting == 0;
        }));
    }

    net::Listener listener;
    net::Peer peer = net::Peer::connectedTo(listener.port());
    JSocket socket;
    MessageReader messages;
};

/** A message of `n` bytes. */
std::string sized(int n) {
    return to(7).from(5).says(net::pattern(n - 16)).bytes();
}

}  // namespace

TEST_F(MessageReaderTest, Header_AloneIsAMessage) {
    const std::string header = to(7).from(5).flagged(3).urgency(9).stamped(77).about(88).bytes();
    peer.send(header);
    expect(header);
}

TEST_F(MessageReaderTest, Length16OrLess_MeansTheHeaderAlone) {
    for (int claimed = 0; claimed <= 16; claimed++) peer.send(to(claimed).claims(claimed).bytes());
    for (int claimed = 0; claimed <= 16; claimed++) expect(to(claimed).claims(claimed).bytes());
}

TEST_F(MessageReaderTest, Message_IsAsLongAsItsHeaderSays) {
    for (const int n : {17, 18, 255, 256, 257, 8191, 8192, 8193, 65534, 65535}) {
        support::Thread sender([&] { peer.send(sized(n)); });
        const std::string got = next();
        EXPECT_EQ(got.size(), static_cast<std::size_t>(n));
        EXPECT_TRUE(got == sized(n)) << n;
    }
}

TEST_F(MessageReaderTest, Messages_LieBackToBack) {
    peer.send(sized(16) + sized(20) + sized(16) + sized(300));
    for (const int n : {16, 20, 16, 300}) expect(sized(n));
}

TEST_F(MessageReaderTest, BeforeWait_IsCalledWheneverWhatIsNextIsNotThere_AndOnlyThen) {
    const std::string cut = sized(30);
    int calls = 0;
    MessageReader reader(socket, [&] {
        if (++calls == 2) peer.send(cut.substr(16));  // with its header it has come; nobody sends it later
    });
    const std::string together = sized(20) + sized(16) + sized(18) + cut.substr(0, 16);
    peer.send(together);
    EXPECT_TRUE(support::eventually([&] {
        int waiting = 0;
        return ioctl(JSocketPeer::number(socket), FIONREAD, &waiting) == 0 &&
               waiting == static_cast<int>(together.size());
    }));
    std::unique_ptr<M> m;
    for (const auto& [size, expected] : {std::pair(20, 1), {16, 1}, {18, 1}, {30, 2}}) {
        ASSERT_EQ(reader.next(m), MessageReader::MESSAGE);
        EXPECT_EQ(m->size(), size);
        EXPECT_EQ(calls, expected) << size;
    }
}

TEST_F(MessageReaderTest, Messages_ThatCameTogether_AreHandedOutWithoutACallInBetween) {
    constexpr int COUNT = 100;
    std::string together;
    for (int i = 0; i < COUNT; i++) together += sized(16 + i % 20);
    peer.send(together);
    EXPECT_TRUE(support::eventually([&] {
        int waiting = 0;
        return ioctl(JSocketPeer::number(socket), FIONREAD, &waiting) == 0 &&
               waiting == static_cast<int>(together.size());
    }));
    int handedOut = 0;
    std::vector<int> calls;
    MessageReader reader(socket, [&] {
        calls.push_back(handedOut);
        if (handedOut == COUNT) peer.close();
    });
    std::unique_ptr<M> m;
    for (; reader.next(m) == MessageReader::MESSAGE; handedOut++) EXPECT_EQ(m->size(), 16 + handedOut % 20);
    EXPECT_EQ(calls, (std::vector<int>{0, COUNT}));
}

TEST_F(MessageReaderTest, Messages_MayBeCutAnywhereOnTheirWay) {
    const std::string all = sized(20) + sized(16) + sized(18);
    for (std::size_t cut = 1; cut < all.size(); cut++) {
        support::Thread reader([this] {
            for (const int n : {20, 16, 18}) expect(sized(n));
        });
        sendAndWait(all.substr(0, cut));
        peer.send(all.substr(cut));
    }
}

TEST_F(MessageReaderTest, Messages_OfAnyLengthInPiecesOfAnyLengthArriveUnchanged) {
    std::mt19937 random(1);
    std::vector<std::string> sent;
    std::string all;
    for (int i = 0; i < 300; i++) {
        const int n = 16 + static_cast<int>(random() % (i % 10 == 0 ? 20000 : 100));
        sent.push_back(sized(n));
        all += sent.back();
    }
    support::Thread sender([&] {
        for (std::size_t at = 0; at < all.size();) {
            const std::string piece = all.substr(at, 1 + random() % 5000);
            peer.send(piece);
            at += piece.size();
        }
    });
    for (const std::string& message : sent) ASSERT_TRUE(next() == message);
}

TEST_F(MessageReaderTest, Message_IsIndependentOfTheNextOne) {
    peer.send(sized(30) + std::string(40, '\x28'));
    std::unique_ptr<M> first;
    ASSERT_EQ(messages.next(first), MessageReader::MESSAGE);
    std::unique_ptr<M> second;
    peer.send(std::string(0x2828 - 40, 'x'));
    ASSERT_EQ(messages.next(second), MessageReader::MESSAGE);
    EXPECT_EQ(hex(*first), hex(sized(30)));
    EXPECT_EQ(second->size(), 0x2828);
}

// ---- the end of a connection ----

TEST_F(MessageReaderTest, PeerThatCloses_EndsTheMessages) {
    peer.send(sized(20));
    peer.close();
    expect(sized(20));
    EXPECT_EQ(next(), "end");
    EXPECT_EQ(next(), "end");
    EXPECT_FALSE(socket.isConnected());
}

TEST_F(MessageReaderTest, PeerThatClosesWithinAMessage_EndsTheMessages) {
    const std::string whole = sized(40);
    for (const std::size_t n : {1u, 2u, 15u, 16u, 17u, 39u}) {
        net::Peer other = net::Peer::connectedTo(listener.port());
        JSocket connection(listener.accept().release());
        MessageReader cut(connection);
        other.send(whole.substr(0, n));
        other.close();
        std::unique_ptr<M> m;
        EXPECT_EQ(cut.next(m), MessageReader::ENDED) << n;
        EXPECT_EQ(m, nullptr);
    }
}

TEST_F(MessageReaderTest, PeerThatResets_EndsTheMessages) {
    peer.send(sized(40).substr(0, 20));
    peer.reset();
    EXPECT_EQ(next(), "end");
}

TEST_F(MessageReaderTest, SocketClosedByAnotherThread_EndsTheMessages) {
    support::Thread reader([this] { EXPECT_EQ(next(), "end"); });
    EXPECT_TRUE(reader.fallsAsleep());
    socket.close();
}

// ---- time-outs ----

TEST_F(MessageReaderTest, QuietConnection_TimesOutAndGoesOn) {
    JSocketPeer::readTimeout(socket) = 1;
    EXPECT_EQ(next(), "time-out");
    peer.send(sized(20));
    expect(sized(20));
}

TEST_F(MessageReaderTest, TimeOutWithinAHeader_DropsWhatHadCome) {
    JSocketPeer::readTimeout(socket) = 1;
    peer.send(sized(20).substr(0, 10));
    EXPECT_EQ(next(), "time-out");
    peer.send(sized(18));
    expect(sized(18));
}

TEST_F(MessageReaderTest, TimeOutWithinAPayload_DropsTheMessageAndTakesTheNextBytesForAHeader) {
    JSocketPeer::readTimeout(socket) = 1;
    peer.send(sized(60).substr(0, 40));
    EXPECT_EQ(next(), "time-out");
    peer.send(sized(18));
    expect(sized(18));
}

TEST_F(MessageReaderTest, ConnectionLostAfterATimeOut_IsNotTakenForAnother) {
    JSocketPeer::readTimeout(socket) = 1;
    EXPECT_EQ(next(), "time-out");
    peer.reset();
    EXPECT_EQ(next(), "end");
}

TEST_F(MessageReaderTest, SocketThatIsWokenUp_TimesOutAtOnce) {
    support::Thread reader([this] { EXPECT_EQ(next(), "time-out"); });
    EXPECT_TRUE(reader.fallsAsleep());
    socket.wakeUp();
    reader.join();
    EXPECT_EQ(next(), "time-out");
}

TEST_F(MessageReaderTest, NextUntilStopped_WaitsThroughTimeOuts_AndEndsWithTheConnection) {
    const std::atomic<char> stop{0};
    JSocketPeer::readTimeout(socket) = 0;
    support::Thread sender([this] {
        support::eventually([this] { return socket.isReadTimeout(); });
        peer.send(sized(20));
        peer.close();
    });
    const std::unique_ptr<M> m = messages.next(stop);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->size(), 20);
    EXPECT_EQ(messages.next(stop), nullptr);
}

TEST_F(MessageReaderTest, NextUntilStopped_EndsWhenItIsToldToLook) {
    std::atomic<char> stop{0};
    support::Thread reader([&] { EXPECT_EQ(messages.next(stop), nullptr); });
    EXPECT_TRUE(reader.fallsAsleep());
    stop = 1;
    socket.wakeUp();
    reader.join();
    peer.send(sized(20));
    EXPECT_EQ(messages.next(stop), nullptr) << "not even what has come";
}

TEST_F(MessageReaderTest, Waiting_CanBeCancelled) {
    support::Thread reader([this] { next(); });
    EXPECT_TRUE(reader.fallsAsleep());
    reader.cancel();
    EXPECT_TRUE(reader.join());
    peer.send(sized(20));
    expect(sized(20));
}
