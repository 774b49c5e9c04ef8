#include "net/detail/Wait.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

#include "net/detail/Descriptor.h"
#include "thread/detail/Monotonic.h"
#include "thread/JThread.h"

namespace jay::detail {

namespace {

/** poll() of one descriptor for `ms` milliseconds: above 0 when it is ready, otherwise with poll's errno. */
int pollOnce(int fd, short events, int ms) {
    const int before = errno;
    pollfd entry{fd, events, 0};
    const int result = poll(&entry, 1, ms);
    if (result > 0 && (entry.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    if (result > 0) errno = before;
    return result;
}

}  // namespace

bool isTransient(int error) {
    return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

bool waitGoesOn(int result) {
    const int error = errno;
    const bool interrupted = JThread::interrupted();
    errno = error;
    return !interrupted && (result == 0 || isTransient(error));
}

Readiness waitFor(int fd, short events, long long timeout, int slice, const Descriptor* guard) {
    const int before = errno;
    const long long deadline = monotonicMilliseconds() + timeout;
    // A thread that was interrupted before gets the shortest wait, in which it still takes what arrives.
    const int longest = JThread::interrupted() ? SLICE_MS : slice;
    for (long long left = std::max<long long>(timeout, SLICE_MS); left > 0;
         left = deadline - monotonicMilliseconds()) {
        errno = before;  // a signal on the way leaves no trace: accept() looks at errno as it stands
        const int ready = pollOnce(fd, events, static_cast<int>(std::min<long long>(left, longest)));
        if (ready > 0) return Readiness::READY;
        if (!waitGoesOn(ready) || (guard != nullptr && !guard->isOpen())) return Readiness::FAILED;
        if (guard != nullptr && guard->isWoken()) break;
    }
    errno = ETIMEDOUT;
    return Readiness::TIMED_OUT;
}

}  // namespace jay::detail
