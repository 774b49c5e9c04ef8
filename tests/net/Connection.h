/** @file A connected socket and its raw peer. */
#ifndef JAY_TESTS_NET_CONNECTION_H
#define JAY_TESTS_NET_CONNECTION_H

#include <gtest/gtest.h>
#include <poll.h>
#include <string>

#include "net/JSocket.h"
#include "net/Peer.h"
#include "support/JSocketPeer.h"

namespace net {

using Inside = jay::detail::JSocketPeer;

class ConnectionTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(socket.connect());
        peer = listener.accept();
        in = socket.getInputStream();
        out = socket.getOutputStream();
        errno = 0;
    }

    int number() const { return Inside::number(socket); }

    /** Sends from the peer and waits until it has reached the socket. */
    void arrives(const std::string& data) {
        const int before = waiting();
        peer.send(data);
        EXPECT_TRUE(support::eventually([&] { return waiting() >= before + static_cast<int>(data.size()); }));
    }

    /** Bytes that the system holds for the socket. */
    int waiting() const {
        int n = 0;
        ioctl(number(), FIONREAD, &n);
        return n;
    }

    /** What one read of up to `n` bytes brings. */
    std::string readText(int n) {
        JByte b(n);
        const int got = in->read(b, 0, n);
        return got > 0 ? text(b, 0, got) : std::string();
    }
    int readOne() {
        JByte b(1);
        return in->read(b, 0, 1);
    }
    int writeText(const std::string& data) {
        JByte b = bytes(data);
        return out->write(b);
    }

    /** Sends until the system takes hardly anything more; who then writes a lot waits. */
    void fillTheWay() {
        const std::string some(65536, '#');
        pollfd entry{number(), POLLOUT, 0};
        while (::poll(&entry, 1, 100) > 0) {  // what is on its way may still move on to the peer
            while (::send(number(), some.data(), some.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
            }
        }
    }
    int writeALot() { return writeText(std::string(1 << 20, 'x')); }

    Listener listener;
    JSocket socket{LOOPBACK, listener.port()};
    Peer peer;
    JSocket::JSocketInputStream* in = nullptr;
    JSocket::JSocketOutputStream* out = nullptr;
};

}  // namespace net

#endif
