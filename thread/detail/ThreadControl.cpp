#include "thread/detail/ThreadControl.h"

#include <cerrno>
#include <ctime>
#include <unistd.h>

#include "thread/detail/CancelOff.h"

namespace jay::detail {

namespace {

/** Holds the control's mutex; a cancelled waiter unlocks it while it is unwound. */
class Guard {
public:
    explicit Guard(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Guard() { pthread_mutex_unlock(&mutex_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    pthread_mutex_t& mutex_;
};

timespec monotonicDeadline(int ms) {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    t.tv_sec += ms / 1000;
    t.tv_nsec += (ms % 1000) * 1000000L;
    if (t.tv_nsec >= 1000000000L) {
        t.tv_nsec -= 1000000000L;
        t.tv_sec += 1;
    }
    return t;
}

}  // namespace

ThreadControl::ThreadControl(Kind kind) : kind_(kind), process_(getpid()) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&endedChanged_, &attributes);
    pthread_condattr_destroy(&attributes);
}

ThreadControl::~ThreadControl() {
    pthread_cond_destroy(&endedChanged_);
    pthread_mutex_destroy(&mutex_);
}

void ThreadControl::setHandle(pthread_t handle) {
    handle_ = handle;
}

bool ThreadControl::isCallingThread() const {
    return pthread_equal(handle_, pthread_self()) != 0;
}

bool ThreadControl::hasEnded() {
    Guard guard(mutex_);
    return ended_;
}

void ThreadControl::cancel() {
    Guard guard(mutex_);
    if (!ended_ && process_ == getpid()) pthread_cancel(handle_);
}

int ThreadControl::join() {
    if (isCallingThread()) return EDEADLK;
    if (process_ != getpid()) return ESRCH;
    if (kind_ == NAMED) return reap();  // the caller vouches for the handle; joined once at most
    waitEnded(-1);
    return kind_ == CREATED ? reap() : 0;
}

bool ThreadControl::joinWithin(int ms) {
    if (process_ != getpid()) return true;
    if (kind_ == NAMED || isCallingThread()) return true;
    if (!waitEnded(ms)) return false;
    if (kind_ == CREATED) reap();
    return true;
}

bool ThreadControl::waitEnded(int ms) {
    const timespec deadline = ms < 0 ? timespec{} : monotonicDeadline(ms);
    Guard guard(mutex_);
    while (!ended_) {
        if (ms < 0) {
            pthread_cond_wait(&endedChanged_, &mutex_);
        } else if (pthread_cond_timedwait(&endedChanged_, &mutex_, &deadline) == ETIMEDOUT) {
            return ended_;
        }
    }
    return true;
}

int ThreadControl::reap() {
    CancelOff off;  // between the claim and the join there is no way back
    {
        Guard guard(mutex_);
        if (reaped_) return 0;
        reaped_ = true;
    }
    return pthread_join(handle_, nullptr);  // with no lock held; a created thread is on its last instructions
}

void ThreadControl::markEnded() {
    Guard guard(mutex_);
    ended_ = true;
    if (ownerGone_ && !reaped_) {
        reaped_ = true;
        pthread_detach(handle_);
    }
    pthread_cond_broadcast(&endedChanged_);
}

void ThreadControl::revive() {
    Guard guard(mutex_);
    ended_ = false;
}

void ThreadControl::releaseOwner() {
    ownerGone_ = true;
}

}  // namespace jay::detail
