/**
 * @file The pthread calls of a whole program, the library's included: a call on the handle of a thread that is gone
 * ends the program, and creation fails on demand. Linking Pthreads.cpp is enough for the first.
 */
#ifndef JAY_TESTS_THREAD_PTHREADS_H
#define JAY_TESTS_THREAD_PTHREADS_H

#include <pthread.h>

namespace thread {

/** Makes the next pthread_create of the calling thread fail with this error, having written a handle of no meaning. */
void failNextCreate(int error);

/** Makes the next pthread_setspecific of the calling thread fail, as it does without memory. Not under ThreadSanitizer. */
void failNextSetspecific();

#ifdef __SANITIZE_THREAD__
constexpr bool SETSPECIFIC_CAN_FAIL = false;
#else
constexpr bool SETSPECIFIC_CAN_FAIL = true;
#endif

/** How often a thread was passed to these calls; created anew, it starts at zero. */
struct Calls {
    int joins;
    int cancels;
    int detaches;
};
Calls callsOn(pthread_t thread);

}  // namespace thread

#endif
