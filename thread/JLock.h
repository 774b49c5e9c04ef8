#ifndef JAY_THREAD_JLOCK_H
#define JAY_THREAD_JLOCK_H

#include <pthread.h>

#include "core/JObject.h"
#include "thread/JThreadSafety.h"

/**
 * A recursive mutual-exclusion lock between the threads of one process.
 *
 * The thread that holds a lock may take it again. The lock is free for other threads after as many calls of unlock() as
 * there were of lock(). Any thread may use a lock as long as it lives; it must be free, and stay unused, when it is
 * destroyed. Neither operation is a cancellation point, so a thread that is blocked in lock() cannot be
 * cancelled until it has got the lock.
 *
 * A thread can be cancelled at any blocking call while it holds a lock. Code that makes such a call takes the
 * lock with a scoped guard (`jay::detail::ScopedLock` inside the library), whose destructor runs when the
 * thread is unwound.
 */
class JAY_CAPABILITY("lock") JAY_API JLock : public JObject {
public:
    static const JClass classJLock;

    JLock();
    ~JLock() override;
    JLock(const JLock&) = delete;
    JLock& operator=(const JLock&) = delete;

    /** Returns &classJLock. */
    const JClass* getClass() const override;

    /** Waits until the calling thread holds the lock. Returns pthread_mutex_lock's result: 0 on success. */
    int lock() JAY_ACQUIRE();

    /** Takes the lock if it is free, or held by the calling thread already, and does not wait for it. Returns whether
     * the lock was taken: if so, the calling thread must unlock() it. */
    bool tryLock() JAY_TRY_ACQUIRE(true);

    /**
     * Undoes one lock() of the calling thread. Returns pthread_mutex_unlock's result: 0 on success, EPERM
     * when the calling thread does not hold the lock (which then stays as it is).
     */
    int unlock() JAY_RELEASE();

private:
    pthread_mutexattr_t attributes;  // kept as long as the mutex that was made with it
    pthread_mutex_t mutex;
};

#endif
