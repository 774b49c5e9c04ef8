#ifndef JAY_THREAD_JLOCK_H
#define JAY_THREAD_JLOCK_H

#include <pthread.h>

#include "core/JObject.h"
#include "thread/JThreadSafety.h"

/**
 * A recursive mutual-exclusion lock between the threads of one process.
 *
 * The thread that holds a lock may take it again. Other threads can take the lock after unlock() was called as often as
 * lock(). Any thread may use a lock. When a lock is destroyed, no thread may hold it or use it any more. No operation is
 * a cancellation point: a thread that waits in lock() is cancelled only after it has taken the lock.
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

    /** Waits for the lock and takes it. Returns pthread_mutex_lock's result: 0 on success. */
    int lock() JAY_ACQUIRE();

    /** Takes the lock if it is free or the calling thread holds it already; does not wait. Returns whether it has taken
     * the lock: if so, the calling thread must call unlock(). */
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
