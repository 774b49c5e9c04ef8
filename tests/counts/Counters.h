/** @file How often the library does what costs time. */
#ifndef JAY_TESTS_COUNTS_COUNTERS_H
#define JAY_TESTS_COUNTS_COUNTERS_H

#include <string>

namespace counts {

/** Calls of the library's threads since the last reset(); those of the test's own thread do not count. */
struct Counters {
    long receives = 0;     ///< recv
    long sends = 0;        ///< send
    long polls = 0;        ///< poll
    long allocations = 0;  ///< operator new
    long locks = 0;        ///< pthread_mutex_lock and pthread_mutex_trylock
    long waits = 0;        ///< pthread_cond_wait and pthread_cond_timedwait
    long signals = 0;      ///< pthread_cond_signal and pthread_cond_broadcast
    long clocks = 0;       ///< clock_gettime and gettimeofday
};

void reset();
Counters taken();

/** The calling thread is the test's own. */
void leaveOut();

}  // namespace counts

#endif
