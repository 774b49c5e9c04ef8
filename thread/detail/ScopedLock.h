#ifndef JAY_THREAD_DETAIL_SCOPEDLOCK_H
#define JAY_THREAD_DETAIL_SCOPEDLOCK_H

#include <mutex>

#include "thread/JLock.h"

namespace jay::detail {

/** Holds a JLock until the end of a scope, also when the thread is cancelled and unwound inside it. */
class JAY_SCOPED_CAPABILITY ScopedLock {
public:
    /** Takes the lock. */
    explicit ScopedLock(JLock& lock) JAY_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    /** Takes over a lock that the calling thread holds already, from tryLock() for instance. */
    ScopedLock(JLock& lock, std::adopt_lock_t) JAY_REQUIRES(lock) : lock_(lock) {}
    ~ScopedLock() JAY_RELEASE() { lock_.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    JLock& lock_;
};

/**
 * Takes a JLock if it is free at once, and holds it until the end of a scope. clang cannot follow a lock that is
 * held on a condition: code that touches annotated fields calls tryLock() and adopts the lock with ScopedLock.
 */
class ScopedTryLock {
public:
    explicit ScopedTryLock(JLock& lock) JAY_UNCHECKED_LOCKING : lock_(lock), held_(lock.tryLock()) {}
    ~ScopedTryLock() JAY_UNCHECKED_LOCKING {
        if (held_) lock_.unlock();
    }
    ScopedTryLock(const ScopedTryLock&) = delete;
    ScopedTryLock& operator=(const ScopedTryLock&) = delete;

    bool held() const { return held_; }

private:
    JLock& lock_;
    bool held_;
};

}  // namespace jay::detail

#endif
