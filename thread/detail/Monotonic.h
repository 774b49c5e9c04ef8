#ifndef JAY_THREAD_DETAIL_MONOTONIC_H
#define JAY_THREAD_DETAIL_MONOTONIC_H

#include <pthread.h>
#include <time.h>

namespace jay::detail {

/** Milliseconds on the clock that nobody sets. */
inline long long monotonicMilliseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

/** A moment of that clock in the system's form. */
inline timespec monotonicTime(long long ms) {
    timespec time;
    time.tv_sec = static_cast<time_t>(ms / 1000);
    time.tv_nsec = static_cast<long>(ms % 1000 * 1000000);
    return time;
}

/** Makes a condition whose waits end by that clock. */
inline void initializeMonotonic(pthread_cond_t& condition) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
}

}  // namespace jay::detail

#endif
