#ifndef JAY_THREAD_DETAIL_MUTEXGUARD_H
#define JAY_THREAD_DETAIL_MUTEXGUARD_H

#include <pthread.h>

namespace jay::detail {

/** Holds a POSIX mutex until the end of a scope, also when the thread is cancelled and unwound inside it. */
class MutexGuard {
public:
    explicit MutexGuard(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~MutexGuard() { pthread_mutex_unlock(&mutex_); }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    pthread_mutex_t& mutex_;
};

}  // namespace jay::detail

#endif
