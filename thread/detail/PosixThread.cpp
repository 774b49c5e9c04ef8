#include "thread/detail/PosixThread.h"

#include <cerrno>
#include <climits>
#include <unistd.h>

#include "thread/detail/CancelOff.h"
#include "thread/detail/Monotonic.h"
#include "thread/detail/MutexGuard.h"

namespace jay::detail {

namespace {

// Holds each attached thread's record. No key at all until initialize() has made one.
pthread_key_t currentKey = PTHREAD_KEYS_MAX;

}  // namespace

PosixThread::PosixThread(Maker maker, pthread_t handle)
    : maker_(maker),
      process_(getpid()),
      handle_(handle),
      attached_(maker == LIBRARY),
      ended_(maker == APPLICATION && handle == 0) {
    initializeLock();
}

PosixThread::~PosixThread() {
    // The lock of an inherited record may be held, or waited for, by a thread that the child has not got.
    if (isInherited()) return;
    pthread_cond_destroy(&endedChanged_);
    pthread_mutex_destroy(&mutex_);
}

void PosixThread::initializeLock() {
    initializeMonotonic(endedChanged_);
    pthread_mutex_init(&mutex_, nullptr);
}

// ---- the calling thread ----

void PosixThread::initialize() {
    pthread_key_create(&currentKey, [](void* ending) {
        end(std::shared_ptr<PosixThread>(static_cast<PosixThread*>(ending)->self_));
    });
}

PosixThread* PosixThread::current() {
    return static_cast<PosixThread*>(pthread_getspecific(currentKey));
}

bool PosixThread::attach(const std::shared_ptr<PosixThread>& thread) {
    if (current() == thread.get()) return true;
    if (pthread_setspecific(currentKey, thread.get()) != 0) return false;
    thread->self_ = thread;
    const MutexGuard held(thread->mutex_);
    thread->attached_ = true;
    return true;
}

void PosixThread::end(const std::shared_ptr<PosixThread>& thread) {
    pthread_setspecific(currentKey, nullptr);
    thread->self_.reset();
    thread->markEnded();
}

void PosixThread::startInChild() {
    PosixThread* const self = current();
    if (self == nullptr) return;
    self->process_ = getpid();
    self->initializeLock();
}

// ---- the end ----

bool PosixThread::isInherited() const {
    return process_ != getpid();
}

bool PosixThread::isCallingThread() {
    return pthread_equal(handle_, pthread_self()) != 0 && !hasEnded();
}

bool PosixThread::isAttached() {
    const MutexGuard held(mutex_);
    return attached_;
}

bool PosixThread::hasEnded() {
    if (isInherited()) return true;
    const MutexGuard held(mutex_);
    return ended_;
}

void PosixThread::markEnded() {
    const MutexGuard held(mutex_);
    ended_ = true;
    pthread_cond_broadcast(&endedChanged_);
}

void PosixThread::cancel() {
    if (isInherited()) return;
    const MutexGuard held(mutex_);
    if (!ended_) pthread_cancel(handle_);
}

int PosixThread::waitForEnd(int ms) {
    if (isInherited() || !isAttached()) return 0;
    if (!waitUntilEnded(ms)) return ETIMEDOUT;
    return isCreated() ? reap() : 0;
}

int PosixThread::join(int ms) {
    if (isCallingThread()) return EDEADLK;
    if (hasEnded() || isAttached()) return waitForEnd(ms);
    const int result = pthread_join(handle_, nullptr);
    if (result == 0) markEnded();
    return result;
}

bool PosixThread::waitUntilEnded(int ms) {
    const timespec limit = monotonicTime(monotonicMilliseconds() + ms);
    const MutexGuard held(mutex_);
    int result = 0;
    while (!ended_ && result == 0) {
        result = ms < 0 ? pthread_cond_wait(&endedChanged_, &mutex_)
                        : pthread_cond_timedwait(&endedChanged_, &mutex_, &limit);
    }
    return ended_;
}

int PosixThread::reap() {
    const CancelOff off;  // between the claim and the join there is no way back
    {
        const MutexGuard held(mutex_);
        if (reaped_) return 0;
        reaped_ = true;
    }
    return pthread_join(handle_, nullptr);  // with no lock held; the thread is on its last instructions
}

void PosixThread::release() {
    released_ = true;
    const MutexGuard held(mutex_);
    reaped_ = true;
    pthread_detach(handle_);
}

}  // namespace jay::detail
