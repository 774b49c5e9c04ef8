/** @file A bus server in this process, and clients that are nothing but a TCP connection. */
#ifndef JAY_TESTS_BUS_SERVER_H
#define JAY_TESTS_BUS_SERVER_H

#include <dirent.h>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <string>
#include <utility>

#include "bus/CM.h"
#include "bus/LQ.h"
#include "bus/MQ.h"
#include "bus/SA.h"
#include "bus/SM.h"
#include "bus/Wire.h"
#include "net/JServerSocket.h"
#include "net/JSocket.h"
#include "net/Peer.h"
#include "support/CMPeer.h"
#include "support/ConnectionPeer.h"
#include "support/DebugLog.h"
#include "support/JSocketPeer.h"
#include "support/SAPeer.h"
#include "support/SMPeer.h"
#include "support/Thread.h"
#include "thread/detail/ScopedLock.h"

namespace bus {

using jay::detail::CMPeer;
using jay::detail::ConnectionPeer;
using jay::detail::JSocketPeer;
using jay::detail::SAPeer;
using jay::detail::SMPeer;

/** How long the end of a server may take at most; one that waits for a client would take ten seconds or sixty. */
constexpr long long PROMPT_MS = 2000;

#if defined(__SANITIZE_THREAD__) || defined(__arm__)
constexpr int SLOWNESS = 4;  ///< by how much fewer rounds a test of many rounds does: watched, or emulated
#else
constexpr int SLOWNESS = 1;
#endif

/** Many small log lines differ in the client id only. */
inline std::string agentLine(int id, const std::string& text) {
    return "SA(" + std::to_string(id) + ")>> " + text + "\n";
}
inline std::string listenerLine(int id) {
    return "CM>> CA(" + std::to_string(id) + ") connected OK!!!\n";
}

/** How many threads this process has. */
inline int runningThreads() {
    // ThreadSanitizer's own thread comes with the first one that a program makes: let it be there from the start.
    static const bool settled = [] {
        support::Thread([] {}).join();
        return true;
    }();
    static_cast<void>(settled);
    DIR* const folder = opendir("/proc/self/task");
    int count = -2;
    while (readdir(folder) != nullptr) count++;
    closedir(folder);
    return count;
}

/** A client without the library: the bytes it sends are all up to the test. */
class Client : public net::Peer {
public:
    Client() = default;
    explicit Client(net::Peer peer) : net::Peer(std::move(peer)) {}

    static Client connectedTo(int port) { return Client(net::Peer::connectedTo(port)); }

    void greet(int id) { send(to(0).from(id).bytes()); }

    using net::Peer::send;
    void send(const Wire& message) { send(message.bytes()); }

    /** The next message; its fields are 0 if none comes. */
    Wire receive() {
        std::string b = net::Peer::receive(HEADER);
        const Wire header = Wire::parse(b);
        if (header.length > static_cast<int>(HEADER))
            b += net::Peer::receive(static_cast<std::size_t>(header.length) - HEADER);
        return Wire::parse(b);
    }

    using net::Peer::expect;
    void expect(const Wire& message) {
        Wire expected = message;
        if (expected.length < 0) expected.length = static_cast<int>(expected.bytes().size());
        EXPECT_EQ(receive(), expected);
    }

    /** The server closes the connection, in one way or the other; what was on its way still arrives. */
    void expectClosed() {
        char some[4096];
        ssize_t got = 1;
        while (got > 0) got = ::recv(fd(), some, sizeof some, 0);
        EXPECT_TRUE(got == 0 || errno == ECONNRESET) << "still open";
    }
    bool isOpen() const {
        pollfd entry{fd(), POLLRDHUP, 0};
        return ::poll(&entry, 1, 0) == 0;
    }
};

/** A server that listens, with its log. */
class Server {
public:
    Server() {
        for (int attempt = 0; attempt < 20; attempt++) {
            sm_.reset(new SM(net::freePort()));
            sm_->start();
            if (sm_->waitUntilListening(30000) == 0) return;
        }
        ADD_FAILURE() << "no port to listen on";
    }
    ~Server() { destroy(); }

    SM* operator->() const { return sm_.get(); }
    SM& operator*() const { return *sm_; }
    int port() const { return SMPeer::port(*sm_); }

    /** Ends it. @return how long that took, in milliseconds. */
    long long destroy() {
        const net::Stopwatch watch;
        sm_.reset();
        return watch.ms();
    }

    /** A client that is attached when this returns. */
    Client connect(int id) {
        const int before = log.count(listenerLine(id));
        Client client = Client::connectedTo(port());
        client.greet(id);
        log.expect(listenerLine(id), before + 1);
        return client;
    }

    /**
     * A client whose connection has time-outs of its own, in seconds, and small buffers, so that one that does not read
     * soon holds the agent up.
     */
    Client attach(int id, int readTimeout, int writeTimeout) {
        const net::Listener listener;
        const int small = 4096;
        net::Fd near(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        setsockopt(near.number(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        const sockaddr_in address = net::loopback(listener.port());
        EXPECT_EQ(::connect(near.number(), net::raw(address), sizeof address), 0);
        auto* const far = new JSocket(::accept4(listener.fd(), nullptr, nullptr, SOCK_CLOEXEC));
        far->setSendBufferSize(small);
        far->setTcpNoDelay(true);
        JSocketPeer::readTimeout(*far) = readTimeout;
        JSocketPeer::writeTimeout(*far) = writeTimeout;
        EXPECT_EQ(sm_->set(id, far), 1);
        return Client(net::Peer(near.release()));
    }
    Client attach(int id) { return attach(id, 60, 10); }

    /** Hands the manager a message, as a reader does. */
    void add(const Wire& w) {
        M m = message(w);
        sm_->add(m);
    }

    /** Nothing has been sent to the client but what the test took: a message of the last band is the next to come. */
    void expectNothingElse(Client& client, int id) {
        const Wire last = to(id).from(31).urgency(255).says("nothing else");
        add(last);
        client.expect(last);
    }

    /** Looks at the connection that is being greeted; false if there is none. */
    template <class Look>
    bool withGreeted(Look look) const {
        CM& listener = *SMPeer::listener(*sm_);
        const jay::detail::ScopedLock guard(CMPeer::lock(listener));
        return CMPeer::greeted(listener) != nullptr && look(*CMPeer::greeted(listener));
    }
    bool isGreeting() const {
        return withGreeted([](JSocket&) { return true; });
    }

    bool hasAgent(int id) const { return SMPeer::agentAt(*sm_, id) != nullptr; }
    SA& agent(int id) const { return *SMPeer::agentFor(*sm_, id); }
    void expectState(int id, int state) const {
        EXPECT_TRUE(support::eventually([&] { return SAPeer::state(agent(id)) == state; }))
            << "state " << SAPeer::state(agent(id)) << " instead of " << state << log.text();
    }

    /** Waits until the agent has nothing left to send. */
    void expectSent(int id) const {
        EXPECT_TRUE(support::eventually([&] { return SAPeer::queue(agent(id)).isEmpty(); })) << log.text();
    }

    /** Sends the client of attach() much more than it has room for, numbered, and waits until the agent waits for it.
     * @return how many messages that were. */
    int stall(int id) {
        constexpr int COUNT = 20;
        for (unsigned i = 0; i < COUNT; i++)
            add(to(id).from(31).urgency(9).about(i).says(std::string(10000, '#')));
        EXPECT_TRUE(support::eventually([&] { return isStalled(id); }));
        return COUNT;
    }
    bool isStalled(int id) const {
        return !SAPeer::queue(agent(id)).isEmpty() && withSocket(id, [](JSocket& socket) {
            pollfd entry{JSocketPeer::number(socket), POLLOUT, 0};
            return ::poll(&entry, 1, 0) == 0;
        });
    }

    /** Looks at the agent's socket while it cannot go away; false if there is none. */
    template <class Look>
    bool withSocket(int id, Look look) const {
        SA& it = agent(id);
        const jay::detail::ScopedLock guard(ConnectionPeer::lock(SAPeer::connection(it)));
        return SAPeer::connection(it).get() != nullptr && look(*SAPeer::connection(it).get());
    }

    support::DebugLog log;

private:
    std::unique_ptr<SM> sm_;
};

}  // namespace bus

#endif
