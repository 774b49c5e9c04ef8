#include "thread/detail/ThreadControl.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include "thread/detail/CancelOff.h"
#include "thread/detail/Monotonic.h"

namespace jay::detail {

namespace {

constexpr long long LOOK_AGAIN_MS =
    10;  ///< how often the end of a thread that cannot tell of it is looked for
constexpr long long LONG_MS = 3600000;  ///< one slice of waiting for ever

/** Holds a mutex for the length of a scope, also when the thread is cancelled and unwound inside it. */
class Guard {
public:
    explicit Guard(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Guard() { pthread_mutex_unlock(&mutex_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    pthread_mutex_t& mutex_;
};

}  // namespace

ThreadControl::ThreadControl() : kind_(CREATED) {
    initialize();
}

ThreadControl::ThreadControl(Kind kind, pthread_t handle) : kind_(kind), handle_(handle) {
    initialize();
    if (kind == NAMED) ended_ = handle == 0 || pthread_getcpuclockid(handle, &clock_) != 0;
}

ThreadControl::~ThreadControl() {
    pthread_cond_destroy(&endedChanged_);
    pthread_mutex_destroy(&mutex_);
}

void ThreadControl::initialize() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&endedChanged_, &attributes);
    pthread_condattr_destroy(&attributes);
    pthread_mutex_init(&mutex_, nullptr);
}

void ThreadControl::setHandle(pthread_t handle) {
    handle_ = handle;
}

bool ThreadControl::isCallingThread() const {
    return pthread_equal(handle_, pthread_self()) != 0;
}

bool ThreadControl::hasEnded() {
    const Guard guard(mutex_);
    return isGone();
}

/** Remembers what it has found: a later thread may come by the clock of an earlier one. */
bool ThreadControl::isGone() {
    timespec time;
    if (!ended_ && kind_ == NAMED) ended_ = clock_gettime(clock_, &time) != 0;
    return ended_;
}

void ThreadControl::cancel() {
    const Guard guard(mutex_);
    if (!isGone()) pthread_cancel(handle_);
}

int ThreadControl::join(int ms) {
    if (isCallingThread()) return EDEADLK;
    if (!waitUntilGone(ms)) return ETIMEDOUT;
    return kind_ == CREATED ? reap() : 0;
}

bool ThreadControl::waitUntilGone(int ms) {
    const long long slice = kind_ == NAMED ? LOOK_AGAIN_MS : LONG_MS;
    const long long limit = ms < 0 ? LLONG_MAX : monotonicMilliseconds() + ms;
    const Guard guard(mutex_);
    while (!isGone()) {
        const long long now = monotonicMilliseconds();
        if (now >= limit) return false;
        const timespec until = monotonicTime(std::min(limit, now + slice));
        pthread_cond_timedwait(&endedChanged_, &mutex_, &until);
    }
    return true;
}

int ThreadControl::reap() {
    const CancelOff off;  // between the claim and the join there is no way back
    {
        const Guard guard(mutex_);
        if (reaped_) return 0;
        reaped_ = true;
    }
    return pthread_join(handle_, nullptr);  // with no lock held; the thread is on its last instructions
}

void ThreadControl::markEnded() {
    const Guard guard(mutex_);
    ended_ = true;
    if (ownerGone_ && !reaped_) {
        reaped_ = true;
        pthread_detach(handle_);
    }
    pthread_cond_broadcast(&endedChanged_);
}

void ThreadControl::releaseOwner() {
    ownerGone_ = true;
}

void ThreadControl::startInChild() {
    initialize();
    if (!isCallingThread()) ended_ = reaped_ = true;
}

}  // namespace jay::detail
