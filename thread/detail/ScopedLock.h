#ifndef JAY_THREAD_DETAIL_SCOPEDLOCK_H
#define JAY_THREAD_DETAIL_SCOPEDLOCK_H

#include "thread/JLock.h"

namespace jay::detail {

/** Holds a JLock for the length of a scope, also when the thread is cancelled and unwound inside it. */
class ScopedLock {
public:
    explicit ScopedLock(JLock& lock) : lock_(lock) { lock_.lock(); }
    ~ScopedLock() { lock_.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    JLock& lock_;
};

/** The same if it can be had at once. */
class ScopedTryLock {
public:
    explicit ScopedTryLock(JLock& lock) : lock_(lock), held_(lock.tryLock()) {}
    ~ScopedTryLock() {
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
