#include "thread/JEvent.h"

#include <climits>
#include <sys/time.h>
#include <time.h>

#include "thread/detail/Monotonic.h"
#include "thread/detail/MutexGuard.h"

using jay::detail::initializeMonotonic;
using jay::detail::MutexGuard;

const JClass JEvent::classJEvent = {"JEvent", sizeof(JEvent), &JObject::classJObject};

namespace {

/** Counts a thread among those that wait, also until it is unwound. Under the event's mutex. */
class Waiting {
public:
    explicit Waiting(int& waiters) : waiters_(waiters) { ++waiters_; }
    ~Waiting() { --waiters_; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

private:
    int& waiters_;
};

/**
 * Whether the microseconds of the time of day and those of `ms` make a second or more together. The deadline has no
 * carry (intended), so such a wait does not block. Only this asks for the time of day.
 */
bool microsecondsWouldCarry(int ms) {
    timeval now;
    gettimeofday(&now, nullptr);
    return ms % 1000 * 1000 + now.tv_usec >= 1000000;
}

/** The steady clock's time in `ms` milliseconds; now if that is negative. */
timespec deadlineIn(int ms) {
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    if (ms <= 0) return deadline;
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += ms % 1000 * 1000000L;
    if (deadline.tv_nsec >= 1000000000) {
        ++deadline.tv_sec;
        deadline.tv_nsec -= 1000000000;
    }
    return deadline;
}

}  // namespace

JEvent::JEvent() : count_(0), autoReset(false), waiters(0) {
    pthread_mutex_init(&mutex, nullptr);
    initializeMonotonic(condition);
}

JEvent::~JEvent() {
    {
        // A condition that somebody waits on cannot be destroyed without waiting for him, for ever perhaps. That
        // happens as the process ends around waiting threads, and in a forked child, which has none of them.
        const MutexGuard held(mutex);
        if (waiters > 0) return;
    }
    pthread_cond_destroy(&condition);
    pthread_mutex_destroy(&mutex);
}

const JClass* JEvent::getClass() const {
    return &classJEvent;
}

void JEvent::setAutoReset(bool on) {
    autoReset.store(on, std::memory_order_relaxed);
}

int JEvent::set() {
    const MutexGuard held(mutex);
    if (count_ < INT_MAX) ++count_;
    pthread_cond_broadcast(&condition);
    return 0;
}

int JEvent::notify() {
    return set();
}

int JEvent::reset() {
    const MutexGuard held(mutex);
    if (count_ > 0) --count_;
    pthread_cond_broadcast(&condition);
    return 0;
}

int JEvent::count() const {
    const MutexGuard held(mutex);
    return count_;
}

int JEvent::wait() {
    return wait(-1);
}

int JEvent::wait(int ms) {
    const MutexGuard held(mutex);
    const Waiting counted(waiters);
    if (ms == -1) {
        while (count_ == 0) pthread_cond_wait(&condition, &mutex);
    } else if (count_ == 0 && !waitAtMost(ms)) {
        return -1;
    }
    return consume();
}

/** Returns whether a signal is pending. A signal that comes together with the time-out counts: it is looked
 * for last. */
bool JEvent::waitAtMost(int ms) {
    if (microsecondsWouldCarry(ms)) return false;
    const timespec deadline = deadlineIn(ms);
    int result = 0;
    while (count_ == 0 && result == 0) result = pthread_cond_timedwait(&condition, &mutex, &deadline);
    return count_ != 0;
}

int JEvent::consume() {
    const int pending = count_;
    count_ = autoReset.load(std::memory_order_relaxed) ? 0 : pending - 1;
    return pending;
}
