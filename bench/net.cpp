/** @file Sockets and their streams beside the system calls that they are made of, and the bus client over a socket. */
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "bus/CA.h"
#include "net/JDataInputStream.h"
#include "net/JSocket.h"

namespace {

/** A listening socket on a port that the system chooses. */
class Listener {
public:
    Listener() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(fd_, 16);
        socklen_t size = sizeof address;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
    }
    ~Listener() { close(fd_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int port() const { return port_; }
    int accept() const {
        const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        return fd;
    }

private:
    int fd_;
    int port_ = 0;
};

/** A connected socket of the library and the plain descriptor at its other end. */
struct Pair {
    Pair() {
        socket.connect();
        socket.setTcpNoDelay(true);
        peer = listener.accept();
    }
    ~Pair() { close(peer); }

    Listener listener;
    JSocket socket{"127.0.0.1", listener.port()};
    int peer = -1;
};

int plainConnection(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

/** Two plain connected descriptors. */
struct PlainPair {
    PlainPair() : near(plainConnection(listener.port())), peer(listener.accept()) {}
    ~PlainPair() {
        close(near);
        close(peer);
    }

    Listener listener;
    int near;
    int peer;
};

/** Sends back what comes, until the other end closes. */
void echo(int fd) {
    char some[65536];
    for (ssize_t n = 0; (n = recv(fd, some, sizeof some, 0)) > 0;)
        if (send(fd, some, static_cast<size_t>(n), MSG_NOSIGNAL) < 0) return;
}

/** Takes what comes, until the other end closes. */
void drain(int fd) {
    char some[65536];
    while (recv(fd, some, sizeof some, 0) > 0) {
    }
}

/** Sends the same bytes again and again, until the other end closes. */
void pour(int fd, const std::string& bytes) {
    while (send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) {
    }
}

// ---- a round trip of 64 bytes ----

void RoundTrip(benchmark::State& state) {
    Pair pair;
    std::thread other(echo, pair.peer);
    JByte bytes(64);
    JDataInputStream in(pair.socket.getInputStream());
    for (auto unused : state) {
        pair.socket.getOutputStream()->write(bytes);
        if (in.readFully(bytes) != 64) state.SkipWithError("connection lost");
    }
    pair.socket.close();
    other.join();
}
BENCHMARK(RoundTrip)->UseRealTime();

void RoundTripPlain(benchmark::State& state) {
    PlainPair pair;
    std::thread other(echo, pair.peer);
    char bytes[64] = {};
    for (auto unused : state) {
        send(pair.near, bytes, sizeof bytes, MSG_NOSIGNAL);
        pollfd entry{pair.near, POLLIN, 0};
        poll(&entry, 1, 60000);
        if (recv(pair.near, bytes, sizeof bytes, MSG_WAITALL) != 64) state.SkipWithError("connection lost");
    }
    shutdown(pair.peer, SHUT_RDWR);
    other.join();
}
BENCHMARK(RoundTripPlain)->UseRealTime();

// ---- a header of 16 bytes and 48 bytes behind it, from a connection that brings them without a pause ----

void ReadHeaderAndPayload(benchmark::State& state) {
    Pair pair;
    std::thread other(pour, pair.peer, std::string(64 * 512, 'x'));
    JByte bytes(64);
    JDataInputStream in(pair.socket.getInputStream());
    for (auto unused : state) {
        in.readFully(bytes, 0, 16);
        in.readFully(bytes, 0, 48);
    }
    state.SetBytesProcessed(state.iterations() * 64);
    pair.socket.close();
    other.join();
}
BENCHMARK(ReadHeaderAndPayload)->UseRealTime();

void ReadHeaderAndPayloadPlain(benchmark::State& state) {
    PlainPair pair;
    std::thread other(pour, pair.peer, std::string(64 * 512, 'x'));
    char bytes[64];
    for (auto unused : state) {
        recv(pair.near, bytes, 16, MSG_WAITALL);
        recv(pair.near, bytes, 48, MSG_WAITALL);
    }
    state.SetBytesProcessed(state.iterations() * 64);
    shutdown(pair.peer, SHUT_RDWR);
    other.join();
}
BENCHMARK(ReadHeaderAndPayloadPlain)->UseRealTime();

// ---- blocks ----

void WriteBlocks(benchmark::State& state) {
    Pair pair;
    std::thread other(drain, pair.peer);
    JByte bytes(static_cast<int>(state.range(0)));
    for (auto unused : state) pair.socket.getOutputStream()->write(bytes);
    state.SetBytesProcessed(state.iterations() * state.range(0));
    pair.socket.close();
    other.join();
}
BENCHMARK(WriteBlocks)->Arg(64)->Arg(65536)->UseRealTime();

void WriteBlocksPlain(benchmark::State& state) {
    PlainPair pair;
    std::thread other(drain, pair.peer);
    const std::string bytes(static_cast<size_t>(state.range(0)), 'x');
    for (auto unused : state) send(pair.near, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    state.SetBytesProcessed(state.iterations() * state.range(0));
    shutdown(pair.peer, SHUT_RDWR);
    other.join();
}
BENCHMARK(WriteBlocksPlain)->Arg(64)->Arg(65536)->UseRealTime();

// ---- connections ----

void ConnectAndClose(benchmark::State& state) {
    const Listener listener;
    JSocket socket("127.0.0.1", listener.port());
    for (auto unused : state) {
        socket.connect();
        close(listener.accept());
        socket.close();
    }
}
BENCHMARK(ConnectAndClose)->UseRealTime();

void ConnectAndClosePlain(benchmark::State& state) {
    const Listener listener;
    const linger reset{1, 0};
    for (auto unused : state) {
        const int near = plainConnection(listener.port());
        close(listener.accept());
        setsockopt(near, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        close(near);
    }
}
BENCHMARK(ConnectAndClosePlain)->UseRealTime();

// ---- the bus client ----

/** A client and the descriptor that stands for its server. */
struct Client {
    Client() {
        bus.start();
        bus.connect();
        server = listener.accept();
        char greeting[16];
        recv(server, greeting, sizeof greeting, MSG_WAITALL);
    }
    ~Client() { close(server); }

    Listener listener;
    CA bus{5, "127.0.0.1", listener.port()};
    int server = -1;
};

/** A message of 64 bytes as it travels. */
std::string message64() {
    M m;
    m.setDestId(5);
    m.addBytes(JByte(48));
    JByte bytes = m.toByteArray();
    return std::string(static_cast<char*>(bytes), 64);
}

void ClientPuts(benchmark::State& state) {
    Client client;
    std::thread other(drain, client.server);
    M m;
    m.addBytes(JByte(48));
    for (auto unused : state) client.bus.put(m);
    shutdown(client.server, SHUT_RDWR);
    other.join();
}
BENCHMARK(ClientPuts)->UseRealTime();

void ClientTakes(benchmark::State& state) {
    Client client;
    std::string many;
    for (int i = 0; i < 512; i++) many += message64();
    std::thread other(pour, client.server, many);
    for (auto unused : state) {
        std::unique_ptr<M> m(client.bus.get());
        while (m == nullptr) {
            client.bus.wait(1000);
            m.reset(client.bus.get());
        }
    }
    shutdown(client.server, SHUT_RDWR);
    other.join();
}
BENCHMARK(ClientTakes)->UseRealTime();

void ClientFindsNothing(benchmark::State& state) {
    Client client;
    for (auto unused : state) benchmark::DoNotOptimize(client.bus.get());
}
BENCHMARK(ClientFindsNothing);

}  // namespace
