/** @file What tests of sockets need: a raw peer with verbs, listeners, ports, descriptors of any number. */
#ifndef JAY_TESTS_NET_PEER_H
#define JAY_TESTS_NET_PEER_H

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "core/JByte.h"
#include "support/Thread.h"

namespace net {

constexpr const char* LOOPBACK = "127.0.0.1";

inline sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline const sockaddr* raw(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

inline int portOf(int fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? ntohs(address.sin_port) : -1;
}

/** An option of a descriptor; -1 when there is none. */
inline int option(int fd, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    return getsockopt(fd, level, name, &value, &size) == 0 ? value : -1;
}

inline bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}
inline bool isNonBlocking(int fd) {
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}
inline bool isClosedOnExec(int fd) {
    return (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

/** How many descriptors the process has open. */
inline int openDescriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(folder) != nullptr) count++;
    closedir(folder);
    return count;
}

inline JByte bytes(const std::string& text) {
    return JByte(text.data(), 0, static_cast<int>(text.size()));
}
inline std::string text(const JByte& b, int off, int len) {
    return std::string(static_cast<const char*>(b) + off, static_cast<size_t>(len));
}

/** A text of `n` bytes in which every stretch is different from its neighbours. */
inline std::string pattern(int n) {
    std::string result;
    for (int i = 0; i < n; i++) result += static_cast<char>((i * 7 + i / 251) & 0xFF);
    return result;
}

/** A plain descriptor, closed at the end of its scope. */
class Fd {
public:
    explicit Fd(int number = -1) : number_(number) {}
    Fd(Fd&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Fd() { close(); }

    void close() {
        if (number_ >= 0) ::close(number_);
        number_ = -1;
    }
    int release() { return std::exchange(number_, -1); }
    int number() const { return number_; }

private:
    int number_;
};

/** The other end of a connection, without the library. What does not happen within half a minute fails the test. */
class Peer {
public:
    Peer() = default;
    explicit Peer(int fd) : fd_(fd) {
        const timeval limit{30, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    static Peer connectedTo(int port) {
        Peer peer(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(port);
        EXPECT_EQ(::connect(peer.fd(), raw(address), sizeof address), 0);
        return peer;
    }

    int fd() const { return fd_.number(); }
    int release() { return fd_.release(); }
    int port() const { return portOf(fd()); }

    void send(const std::string& data) {
        EXPECT_EQ(::send(fd(), data.data(), data.size(), MSG_NOSIGNAL), static_cast<ssize_t>(data.size()));
    }

    /** `n` bytes, fewer only if the stream ends or nothing comes. */
    std::string receive(size_t n) {
        std::string all(n, '\0');
        const ssize_t got = ::recv(fd(), &all[0], n, MSG_WAITALL);
        all.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return all;
    }
    void expect(const std::string& data) { EXPECT_EQ(receive(data.size()), data); }

    /** Takes everything until the stream ends. */
    void drain() {
        char some[65536];
        while (::recv(fd(), some, sizeof some, 0) > 0) {
        }
    }

    void expectEnd() {
        char c;
        EXPECT_EQ(::recv(fd(), &c, 1, 0), 0) << std::strerror(errno);
    }
    void expectReset() {
        char c;
        EXPECT_EQ(::recv(fd(), &c, 1, 0), -1);
        EXPECT_EQ(errno, ECONNRESET);
    }
    /** Neither bytes nor an end nor a reset has come. */
    void expectNothing() {
        char c;
        EXPECT_EQ(::recv(fd(), &c, 1, MSG_DONTWAIT), -1);
        EXPECT_EQ(errno, EAGAIN);
    }

    void close() { fd_.close(); }
    void reset() {
        const linger hard{1, 0};
        setsockopt(fd(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        close();
    }

private:
    Fd fd_;
};

/** A listening socket on a port of its own. */
class Listener {
public:
    explicit Listener(int backlog = 16) : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const timeval limit{30, 0};
        setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        const sockaddr_in address = loopback(0);
        EXPECT_EQ(::bind(fd(), raw(address), sizeof address), 0);
        EXPECT_EQ(::listen(fd(), backlog), 0);
    }

    int fd() const { return fd_.number(); }
    int port() const { return portOf(fd()); }
    Peer accept() { return Peer(::accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC)); }

private:
    Fd fd_;
};

/** Reserves ports for this process among all test programs of this user: a lock on one byte of a file for each. */
class PortReservations {
public:
    bool take(int port) const {
        flock byte{};
        byte.l_type = F_WRLCK;
        byte.l_start = port;
        byte.l_len = 1;
        return file_.number() < 0 || fcntl(file_.number(), F_SETLK, &byte) == 0;
    }

private:
    const std::string path_ = "/tmp/jay-test-ports-" + std::to_string(getuid());
    const Fd file_{::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
};
inline const PortReservations portReservations;

/**
 * A port where nobody listens. Not one of those that the system hands out by itself, and another one each time, so
 * that no test beside this one takes it meanwhile.
 */
inline int freePort() {
    static int next = getpid() * 37;
    for (;;) {
        const int port = 12000 + next++ % 16000;
        if (!portReservations.take(port)) continue;
        const sockaddr_in address = loopback(port);
        const Fd probe(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::bind(probe.number(), raw(address), sizeof address) == 0) return port;
    }
}

/** A port that does not answer: its listener's queue is full, so that the system drops what asks for more. */
class SilentPort {
public:
    SilentPort() : listener_(0) {
        guests_.push_back(Peer::connectedTo(port()));  // as many as a queue of none holds
        for (int i = 0; i < 2; i++) {  // in case the first was still on its way into the queue
            guests_.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            const sockaddr_in address = loopback(port());
            EXPECT_EQ(::connect(guests_.back().fd(), raw(address), sizeof address), -1);
        }
    }
    int port() const { return listener_.port(); }

private:
    Listener listener_;
    std::vector<Peer> guests_;
};

/** While it lives, new descriptors get numbers beyond what an fd_set holds. */
class HighNumbers {
public:
    HighNumbers() {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit raised = before_;
        raised.rlim_cur = raised.rlim_max;
        setrlimit(RLIMIT_NOFILE, &raised);
        int number = 0;
        while (number >= 0 && number <= FD_SETSIZE) {
            number = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
            used_.emplace_back(number);
        }
        EXPECT_GE(number, FD_SETSIZE) << "the limit of descriptors is too low on this machine";
    }
    ~HighNumbers() {
        used_.clear();
        setrlimit(RLIMIT_NOFILE, &before_);
    }
    HighNumbers(const HighNumbers&) = delete;
    HighNumbers& operator=(const HighNumbers&) = delete;

private:
    rlimit before_{};
    std::vector<Fd> used_;
};

/** While it lives, no descriptor can be opened. */
class FullTable {
public:
    FullTable() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const Fd next(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
        rlimit full = before_;
        full.rlim_cur = static_cast<rlim_t>(next.number());
        setrlimit(RLIMIT_NOFILE, &full);
    }
    ~FullTable() { setrlimit(RLIMIT_NOFILE, &before_); }
    FullTable(const FullTable&) = delete;
    FullTable& operator=(const FullTable&) = delete;

private:
    rlimit before_{};
};

class Stopwatch {
public:
    long long ms() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_).count();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};

/** How much longer than planned a wait may take on a loaded machine, sanitizers included. */
constexpr long long LATE_MS = 5000;

}  // namespace net

#endif
