#include "net/detail/Wait.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

#include "thread/detail/Monotonic.h"
#include "thread/JThread.h"

namespace jay::detail {

bool isTransient(int error) {
    return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

bool waitGoesOn(int result) {
    const int error = errno;
    const bool interrupted = JThread::interrupted();
    errno = error;
    return !interrupted && (result == 0 || isTransient(error));
}

Readiness waitFor(int fd, short events, long long timeout, int slice, WaitWatcher& watcher) {
    const int before = errno;
    const long long deadline = monotonicMilliseconds() + timeout;
    int wait = SLICE_MS;
    for (;;) {
        pollfd entry{fd, events, 0};
        const int ready = poll(&entry, 1, wait);
        if (ready > 0 && (entry.revents & POLLNVAL) != 0) {
            errno = EBADF;
            return Readiness::FAILED;
        }
        if (ready > 0) {
            errno = before;  // a signal on the way leaves no trace: accept() looks at errno as it stands
            return Readiness::READY;
        }
        if (!waitGoesOn(ready)) return Readiness::FAILED;
        const Readiness verdict = watcher.look();
        const long long left = deadline - monotonicMilliseconds();
        if (verdict == Readiness::FAILED) return verdict;
        if (verdict == Readiness::TIMED_OUT || left <= 0) {
            errno = ETIMEDOUT;
            return Readiness::TIMED_OUT;
        }
        wait = static_cast<int>(std::min<long long>(left, slice));
    }
}

}  // namespace jay::detail
