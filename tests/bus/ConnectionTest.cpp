#include "bus/detail/Connection.h"

#include <gtest/gtest.h>

#include "bus/SocketPair.h"

using bus::SocketPair;
using jay::detail::Connection;

namespace {

/** The receiving end of a connection as the reader sees it: how many bytes come before the end. */
int readToTheEnd(JSocket& socket) {
    JByte some(64);
    int total = 0;
    for (int n = 1; n > 0; total += n > 0 ? n : 0) n = socket.getInputStream()->read(some, 0, 64);
    return total;
}

TEST(ConnectionTest, New_IsEmpty) {
    Connection connection;
    char host[16] = "untouched";
    int port = 7;
    EXPECT_EQ(connection.get(), nullptr);
    EXPECT_EQ(connection.borrow(), nullptr);
    EXPECT_EQ(connection.release(), nullptr);
    EXPECT_EQ(connection.remove(), Connection::NOTHING_THERE);
    EXPECT_FALSE(connection.getAddress(host, sizeof host, port));
    EXPECT_STREQ(host, "untouched");
    EXPECT_EQ(port, 7);
    connection.close();
    connection.wakeUp();
    connection.retire();
    EXPECT_FALSE(connection.isRetired());
}

TEST(ConnectionTest, Destructor_ClosesTheSocket) {
    SocketPair pair;
    {
        Connection connection;
        EXPECT_TRUE(connection.replace(pair.socket));
        EXPECT_EQ(connection.get(), pair.socket);
        EXPECT_TRUE(pair.client.isOpen());
    }
    pair.client.expectClosed();
}

TEST(ConnectionTest, Replace_DestroysTheFormerSocket) {
    SocketPair former;
    SocketPair next;
    Connection connection;
    connection.replace(former.socket);
    EXPECT_TRUE(connection.replace(next.socket));
    former.client.expectClosed();
    EXPECT_TRUE(next.client.isOpen());
}

TEST(ConnectionTest, Replace_WhileTheReaderHasTheSocket_DoesNothing) {
    SocketPair former;
    SocketPair next;
    Connection connection;
    connection.replace(former.socket);
    EXPECT_EQ(connection.borrow(), former.socket);
    EXPECT_FALSE(connection.replace(next.socket));
    EXPECT_TRUE(former.client.isOpen());
    connection.giveBack();
    EXPECT_TRUE(connection.replace(next.socket));
}

TEST(ConnectionTest, Borrow_OfAnEmptyConnectionIsNoLoan) {
    SocketPair pair;
    Connection connection;
    EXPECT_EQ(connection.borrow(), nullptr);
    EXPECT_TRUE(connection.replace(pair.socket));
}

TEST(ConnectionTest, Remove_DestroysTheSocketWhenTheReaderHasGivenItBack) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    connection.borrow();
    EXPECT_EQ(connection.remove(), Connection::STILL_BORROWED);
    EXPECT_TRUE(pair.client.isOpen());
    connection.giveBack();
    EXPECT_EQ(connection.remove(), Connection::REMOVED);
    pair.client.expectClosed();
    EXPECT_EQ(connection.remove(), Connection::NOTHING_THERE);
}

TEST(ConnectionTest, Release_HandsTheSocketOverOpen) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    const std::unique_ptr<JSocket> released(connection.release());
    EXPECT_EQ(released.get(), pair.socket);
    EXPECT_TRUE(pair.client.isOpen());
    EXPECT_EQ(connection.get(), nullptr);
}

TEST(ConnectionTest, Close_EndsTheReadersWait) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    support::Thread reader([&] { EXPECT_EQ(readToTheEnd(*connection.borrow()), 0); });
    EXPECT_TRUE(reader.fallsAsleep());
    connection.close();
    reader.join();
    EXPECT_EQ(connection.get(), pair.socket) << "it is destroyed by those who hold the agent's lock";
}

TEST(ConnectionTest, WakeUp_EndsTheReadersWait_AndTheClientNoticesNothing) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    support::Thread reader([&] { EXPECT_EQ(readToTheEnd(*connection.borrow()), 0); });
    EXPECT_TRUE(reader.fallsAsleep());
    connection.wakeUp();
    reader.join();
    EXPECT_TRUE(pair.client.isOpen());
}

TEST(ConnectionTest, Retire_LetsTheReaderTakeWhatHasArrived_AndEndsItsWait) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    pair.client.send(std::string(1000, 'x'));
    connection.retire();
    EXPECT_TRUE(connection.isRetired());
    EXPECT_TRUE(pair.client.isOpen());
    EXPECT_EQ(readToTheEnd(*connection.borrow()), 1000);
    EXPECT_FALSE(pair.socket->isConnected());
    pair.client.expectClosed();
}

TEST(ConnectionTest, Retire_WakesAReaderThatWaits) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    support::Thread reader([&] { EXPECT_EQ(readToTheEnd(*connection.borrow()), 0); });
    EXPECT_TRUE(reader.fallsAsleep());
    connection.retire();
    reader.join();
}

TEST(ConnectionTest, Retire_ConcernsThePresentSocketOnly) {
    SocketPair former;
    SocketPair next;
    Connection connection;
    connection.replace(former.socket);
    connection.retire();
    connection.replace(next.socket);
    EXPECT_FALSE(connection.isRetired());
    next.client.send("hello");
    JByte five(5);
    EXPECT_EQ(connection.borrow()->getInputStream()->read(five, 0, 5), 5);
}

TEST(ConnectionTest, GetAddress_IsThatOfTheClientsEnd_WhileTheConnectionIsOpen) {
    SocketPair pair;
    Connection connection;
    connection.replace(pair.socket);
    char host[16] = "";
    int port = 0;
    EXPECT_TRUE(connection.getAddress(host, sizeof host, port));
    EXPECT_STREQ(host, "127.0.0.1");
    EXPECT_EQ(port, pair.client.port());
    connection.close();
    EXPECT_FALSE(connection.getAddress(host, sizeof host, port));
}

}  // namespace
