#include "bus/detail/Outcome.h"

#include "thread/detail/Monotonic.h"

namespace jay::detail {

namespace {

/** Holds a mutex for the length of a scope, also when the thread is cancelled inside it. */
class Hold {
public:
    explicit Hold(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Hold() { pthread_mutex_unlock(&mutex_); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    pthread_mutex_t& mutex_;
};

}  // namespace

Outcome::Outcome() {
    pthread_mutex_init(&mutex_, nullptr);
    pthread_condattr_t steady;
    pthread_condattr_init(&steady);
    pthread_condattr_setclock(&steady, CLOCK_MONOTONIC);
    pthread_cond_init(&known_, &steady);
    pthread_condattr_destroy(&steady);
}

Outcome::~Outcome() {
    pthread_cond_destroy(&known_);
    pthread_mutex_destroy(&mutex_);
}

void Outcome::set(int value) {
    const Hold held(mutex_);
    value_ = value;
    isKnown_ = true;
    pthread_cond_broadcast(&known_);
}

int Outcome::wait(int ms, int otherwise) {
    const timespec deadline = monotonicTime(monotonicMilliseconds() + 1 + ms);  // its count is cut
    const Hold held(mutex_);
    int result = ms > 0 ? 0 : -1;
    while (!isKnown_ && result == 0) result = pthread_cond_timedwait(&known_, &mutex_, &deadline);
    return isKnown_ ? value_ : otherwise;
}

}  // namespace jay::detail
