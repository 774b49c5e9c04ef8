#include "net/JServerSocket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "net/detail/Descriptor.h"
#include "net/detail/Resolver.h"
#include "thread/detail/CancelOff.h"

using jay::detail::Descriptor;

namespace {

constexpr int BACKLOG = 10;

/** accept() without a wait. Not a cancellation point: the connection taken by then would be lost. */
int acceptNow(int listener, sockaddr_in& peer) {
    const jay::detail::CancelOff off;
    socklen_t size = sizeof peer;
    return ::accept4(listener, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
}

}  // namespace

JServerSocket::JServerSocket(int portNumber)
    : fd(-1), port(portNumber), acceptWait(1), init(true), error(0), descriptor(new Descriptor) {
    std::snprintf(name, sizeof name, "*:%d", port);
    // Non-blocking: a connection that is reset between the wait and accept() must not hold the listener up.
    fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
    if (fd == -1) {
        error = errno;
        return;
    }
    listenOn(fd);
}

void JServerSocket::listenOn(int number) {
    const int on = 1;
    setsockopt(number, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    init = bind(number, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (!init || listen(number, BACKLOG) != 0) {
        error = errno;
        const jay::detail::CancelOff off;
        ::close(number);
        return;
    }
    descriptor->attach(number);
}

JServerSocket::~JServerSocket() {
    close();
}

bool JServerSocket::isInit() {
    return init;
}

int JServerSocket::getError() const {
    return error == 0 && !descriptor->isOpen() ? EBADF : error;
}

JSocket* JServerSocket::accept() {
    const Descriptor::Use use(*descriptor);
    for (;;) {
        if (!descriptor->isOpen()) {
            errno = EBADF;
            return nullptr;
        }
        const int before = errno;
        pollfd entry{use.fd(), POLLIN, 0};
        if (poll(&entry, 1, acceptWait * 1000) > 0) {
            sockaddr_in peer{};
            const int number = acceptNow(use.fd(), peer);
            if (number >= 0) return wrap(number, peer);
            if (errno == EAGAIN) {  // the connection is gone: only a listener that does not block notices
                errno = before;
                continue;
            }
        }
        // errno is looked at as it stands, also after a quiet second, which does not set it: kept.
        if (errno != EINTR && errno != EAGAIN) return nullptr;
    }
}

JSocket* JServerSocket::wrap(int number, const sockaddr_in& peer) {
    auto* accepted = new JSocket(number, peer);
    accepted->setKeepAlive(false);
    return accepted;
}

int JServerSocket::getLocalPort() {
    return port;
}
int JServerSocket::getSoTimeout() {
    return 0;
}
void JServerSocket::setSoTimeout(int) {
}

JInetAddress JServerSocket::getInetAddress() {
    const Descriptor::Use use(*descriptor);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(use.fd(), reinterpret_cast<sockaddr*>(&address), &size) != 0) return JInetAddress();
    return JInetAddress::getByName(jay::detail::dottedForm(address.sin_addr).c_str());
}

void JServerSocket::close() {
    const jay::detail::CancelOff off;
    {
        const Descriptor::Use use(*descriptor);
        linger value{};
        socklen_t size = sizeof value;
        if (getsockopt(use.fd(), SOL_SOCKET, SO_LINGER, &value, &size) == 0 &&
            (value.l_onoff == 0 || value.l_linger == 0)) {
            value = {1, 0};
            setsockopt(use.fd(), SOL_SOCKET, SO_LINGER, &value, sizeof value);
        }
    }
    descriptor->close();
    fd = -1;
}
