#include "net/JSocket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "net/detail/Descriptor.h"
#include "net/detail/Resolver.h"
#include "net/detail/Wait.h"
#include "net/sys_socket.h"
#include "thread/detail/CancelOff.h"
#include "thread/detail/Monotonic.h"

using jay::detail::Descriptor;

namespace {

/** Copies a text, which may lie in the field itself, into a field; cut at the field's end: a longer one would
 * run over. Null is empty. */
template <std::size_t SIZE>
void store(char (&field)[SIZE], const char* text) {
    const std::size_t length = text != nullptr ? strnlen(text, SIZE - 1) : 0;
    if (length > 0) std::memmove(field, text, length);
    field[length] = '\0';
}

void setNonBlocking(int fd) {
    int on = 1;
    ioctl(fd, FIONBIO, &on);
}

bool localAddress(int fd, sockaddr_in& address) {
    socklen_t size = sizeof address;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
}

}  // namespace

// ---- construction ----

JSocket::JSocket(const char* hostName, int portNumber) : port(portNumber), descriptor(new Descriptor) {
    store(host, hostName);
    store(hostAddress, "");
    store(message, "");
}

JSocket::JSocket(int number)
    : fd(number), connected(true), inputShutdown(false), outputShutdown(false), descriptor(new Descriptor) {
    store(message, "");
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(number, reinterpret_cast<sockaddr*>(&peer), &size) == 0) {
        setPeer(peer);
        setNonBlocking(number);
    } else {
        store(host, "invalid_socket");
        store(hostAddress, "0.0.0.0");
        port = -1;
    }
    if (number >= 0) descriptor->attach(number);
}

JSocket::JSocket(int number, const sockaddr_in& peer)
    : fd(number), connected(true), inputShutdown(false), outputShutdown(false), descriptor(new Descriptor) {
    store(message, "");
    setPeer(peer);
    descriptor->attach(number);
}

void JSocket::setPeer(const sockaddr_in& peer) {
    const std::string dotted = jay::detail::dottedForm(peer.sin_addr);
    store(host, dotted.c_str());
    store(hostAddress, dotted.c_str());
    port = ntohs(peer.sin_port);
}

JSocket::~JSocket() {
    const jay::detail::CancelOff off;
    close();
    delete input;
    delete output;
}

// ---- connection ----

bool JSocket::connect() {
    Attempt attempt = Attempt::ALREADY_CONNECTED;
    while (attempt == Attempt::ALREADY_CONNECTED) {
        if (connected) close();
        attempt = connectOnce();
        if (attempt == Attempt::ALREADY_CONNECTED) connected = true;
    }
    return attempt == Attempt::CONNECTED;
}

JSocket::Attempt JSocket::connectOnce() {
    if (!openDescriptor()) return Attempt::FAILED;
    if (!resolveHost()) return Attempt::FAILED;

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = inet_addr(hostAddress);
    connectTimedOut = false;

    const Descriptor::Use use(*descriptor);
    auto* const to = reinterpret_cast<sockaddr*>(&address);
    if (sys_connect(use.fd(), to, sizeof address, connectTimeout * 1000) < 0) {
        if (errno == EISCONN) return Attempt::ALREADY_CONNECTED;
        if (errno == ETIMEDOUT) {
            connectTimedOut = true;
            fail("error connection timeout!");
            return Attempt::FAILED;
        }
        // Refused, unreachable and the like are not failures here (kept): the first read or write shows them.
    }
    setNonBlocking(use.fd());
    inputShutdown = false;
    outputShutdown = false;
    connected = true;
    if (descriptor->isOpen()) return Attempt::CONNECTED;
    connected = false;  // another thread closed it meanwhile
    return Attempt::FAILED;
}

bool JSocket::openDescriptor() {
    if (descriptor->isOpen()) return true;  // left over from a failed attempt
    const int number = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (number < 0) {
        fail("not allocate socket handle!");
        return false;
    }
    descriptor->attach(number);
    fd = number;
    return true;
}

bool JSocket::resolveHost() {
    in_addr found{};
    const bool dotted = jay::detail::parseDotted(host, found);
    if (dotted && std::strlen(host) < sizeof hostAddress) {
        store(hostAddress, host);
        return true;
    }
    if (!dotted && !jay::detail::lookUpName(host, found)) {
        fail("unknown host!");
        return false;
    }
    // The address of a name, or a dotted text too long for its field in its short form.
    store(hostAddress, jay::detail::dottedForm(found).c_str());
    return true;
}

void JSocket::fail(const char* text) {
    store(message, text);
}

int JSocket::close() {
    connected = false;
    inputShutdown = true;
    outputShutdown = true;
    if (fd.exchange(-1) == -1) return 1;
    if (getSoLinger() == 0) setSoLinger(true, 0);
    descriptor->close();
    return -1;
}

void JSocket::closeAfterSending(int ms) {
    {
        const Descriptor::Use use(*descriptor);
        if (use.fd() >= 0) {
            if (getSoLinger() == 0)
                setSoLinger(true, 1);  // before the end: whoever closes next must not reset
            outputShutdown = true;
            ::shutdown(use.fd(), SHUT_WR);
            discardUntilEnd(use.fd(), ms);
        }
    }
    close();
}

void JSocket::discardUntilEnd(int number, int ms) {
    const long long deadline = jay::detail::monotonicMilliseconds() + ms;
    for (long long left = ms; left > 0; left = deadline - jay::detail::monotonicMilliseconds()) {
        char some[4096];
        const long n = recv(number, some, sizeof some, MSG_DONTWAIT);
        if (n > 0) continue;
        if (n == 0 || !jay::detail::isTransient(errno)) return;
        jay::detail::waitFor(number, POLLIN, left, INT_MAX, descriptor.get());
    }
}

void JSocket::wakeUp() {
    if (!connected) return;  // shutting down what is only being connected would break it off
    descriptor->wake();
}

bool JSocket::isConnected() {
    return connected;
}
bool JSocket::isPeerClosed() {
    const Descriptor::Use use(*descriptor);
    if (use.fd() < 0) return true;
    pollfd entry{use.fd(), POLLRDHUP, 0};
    return poll(&entry, 1, 0) > 0;
}

bool JSocket::isConnectTimeout() {
    return connectTimedOut;
}
bool JSocket::isReadTimeout() {
    return readTimedOut;
}
bool JSocket::isWriteTimeout() {
    return writeTimedOut;
}

const char* JSocket::getHost() {
    return host;
}
void JSocket::setHost(const char* name) {
    store(host, name);
}
int JSocket::getPort() {
    return port;
}
void JSocket::setPort(int number) {
    port = number;
}

int JSocket::getSoTimeout() {
    return 0;
}
void JSocket::setSoTimeout(int) {
}

JSocket::JSocketInputStream* JSocket::getInputStream() {
    if (input == nullptr) input = new JSocketInputStream(this);
    return input;
}

JSocket::JSocketOutputStream* JSocket::getOutputStream() {
    if (output == nullptr) output = new JSocketOutputStream(this);
    return output;
}

bool JSocket::shutdownInput() {
    const Descriptor::Use use(*descriptor);
    inputShutdown = true;
    ::shutdown(use.fd(), SHUT_RD);
    return connected = !outputShutdown;
}

bool JSocket::shutdownOutput() {
    const Descriptor::Use use(*descriptor);
    outputShutdown = true;
    ::shutdown(use.fd(), SHUT_WR);
    return connected = !inputShutdown;
}

// ---- options ----

int JSocket::setOption(int level, int name, int value) {
    const Descriptor::Use use(*descriptor);
    return setsockopt(use.fd(), level, name, &value, sizeof value);
}

/** The option's value, 0 on failure. */
int JSocket::getOption(int level, int name) {
    const Descriptor::Use use(*descriptor);
    int value = 0;
    socklen_t size = sizeof value;
    return getsockopt(use.fd(), level, name, &value, &size) == 0 ? value : 0;
}

int JSocket::setTcpNoDelay(bool on) {
    return setOption(IPPROTO_TCP, TCP_NODELAY, on ? 1 : 0);
}
int JSocket::setSendBufferSize(int bytes) {
    return setOption(SOL_SOCKET, SO_SNDBUF, bytes);
}
int JSocket::setReceiveBufferSize(int bytes) {
    return setOption(SOL_SOCKET, SO_RCVBUF, bytes);
}
int JSocket::setKeepAlive(bool on) {
    return setOption(SOL_SOCKET, SO_KEEPALIVE, on ? 1 : 0);
}

int JSocket::getSendBufferSize() {
    return getOption(SOL_SOCKET, SO_SNDBUF);
}
int JSocket::getReceiveBufferSize() {
    return getOption(SOL_SOCKET, SO_RCVBUF);
}
bool JSocket::getKeepAlive() {
    return getOption(SOL_SOCKET, SO_KEEPALIVE) > 0;
}

bool JSocket::getTcpNoDelay() {
    return false;
}

int JSocket::setSoLinger(bool on, int seconds) {
    const Descriptor::Use use(*descriptor);
    const linger value = on ? linger{1, seconds} : linger{0, 0};
    return setsockopt(use.fd(), SOL_SOCKET, SO_LINGER, &value, sizeof value);
}

int JSocket::getSoLinger() {
    const Descriptor::Use use(*descriptor);
    linger value{};
    socklen_t size = sizeof value;
    if (getsockopt(use.fd(), SOL_SOCKET, SO_LINGER, &value, &size) != 0) return -1;
    return value.l_onoff != 0 ? value.l_linger : 0;
}

/**
 * The result of a transfer without a descriptor. There is nothing to close, and another thread may have connected anew
 * by now. What counts as connected without a descriptor, since it was made of a number that was none, does so no more.
 */
int JSocket::noConnection() {
    if (connected && fd < 0) connected = false;
    errno = EBADF;
    return -1;
}

// ---- addresses ----

int JSocket::getLocalPort() {
    const Descriptor::Use use(*descriptor);
    sockaddr_in local{};
    return localAddress(use.fd(), local) ? ntohs(local.sin_port) : -1;
}

JInetAddress JSocket::getInetAddress() {
    return JInetAddress::getByName(hostAddress);
}

JInetAddress JSocket::getLocalAddress() {
    const Descriptor::Use use(*descriptor);
    sockaddr_in local{};
    if (!localAddress(use.fd(), local)) return JInetAddress();
    return JInetAddress::getByName(jay::detail::dottedForm(local.sin_addr).c_str());
}
