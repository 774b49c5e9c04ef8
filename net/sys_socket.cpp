#include "net/sys_socket.h"

#include <cerrno>
#include <poll.h>
#include <sys/ioctl.h>

#include "net/detail/Wait.h"
#include "thread/detail/Monotonic.h"

using jay::detail::monotonicMilliseconds;
using jay::detail::Readiness;

namespace {

struct Sets {
    fd_set read, write, except;

    static void copy(fd_set* to, const fd_set* from) {
        if (to != nullptr && from != nullptr) *to = *from;
    }
};

void setBlocking(int fd, bool on) {
    int nonBlocking = on ? 0 : 1;
    ioctl(fd, FIONBIO, &nonBlocking);
}

}  // namespace

int sys_select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, timeval* timeout) {
    if (nfds > FD_SETSIZE) {
        errno = EINVAL;
        return -1;
    }
    const int before = errno;
    long long deadline = 0;
    if (timeout != nullptr)
        deadline = monotonicMilliseconds() + timeout->tv_sec * 1000LL + timeout->tv_usec / 1000;
    Sets asked;
    Sets::copy(&asked.read, readfds);
    Sets::copy(&asked.write, writefds);
    Sets::copy(&asked.except, exceptfds);
    for (;;) {
        Sets::copy(readfds, &asked.read);
        Sets::copy(writefds, &asked.write);
        Sets::copy(exceptfds, &asked.except);
        timeval slice{0, jay::detail::SLICE_MS * 1000};
        const int ready = select(nfds, readfds, writefds, exceptfds, timeout != nullptr ? &slice : nullptr);
        if (ready > 0) {
            errno = before;  // a signal on the way leaves no trace: accept() looks at errno as it stands
            return ready;
        }
        if (!jay::detail::waitGoesOn(ready)) return -1;
        if (timeout != nullptr && monotonicMilliseconds() >= deadline) {
            errno = ETIMEDOUT;
            return 0;
        }
    }
}

int sys_connect(int fd, sockaddr* addr, int addrlen, int timeoutMs) {
    setBlocking(fd, false);
    if (connect(fd, addr, static_cast<socklen_t>(addrlen)) == 0) {
        setBlocking(fd, true);
        return 0;
    }
    if (errno != EINPROGRESS && errno != EAGAIN) return -1;

    if (jay::detail::waitFor(fd, POLLIN | POLLOUT, timeoutMs, jay::detail::SLICE_MS, nullptr) !=
        Readiness::READY)
        return -1;
    int pending = 0;
    socklen_t size = sizeof pending;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &pending, &size) != 0 || pending != 0) return -1;
    setBlocking(fd, true);
    return 0;
}
