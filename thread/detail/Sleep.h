#ifndef JAY_THREAD_DETAIL_SLEEP_H
#define JAY_THREAD_DETAIL_SLEEP_H

#include <sys/select.h>
#include <sys/time.h>

namespace jay::detail {

/**
 * Sleeps in the calling thread for the two times together. A cancellation point.
 * @return 0; -1 with errno EINTR if a signal ended it, EINVAL for a negative time.
 */
inline int sleepFor(int seconds, int microseconds) {
    timeval timeout;
    timeout.tv_sec = seconds;
    timeout.tv_usec = microseconds;
    return select(0, nullptr, nullptr, nullptr, &timeout);
}

}  // namespace jay::detail

#endif
