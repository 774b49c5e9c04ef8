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

}  // namespace jay::detail

#endif
