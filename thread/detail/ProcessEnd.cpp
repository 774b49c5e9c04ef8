#include "thread/detail/ProcessEnd.h"

#include <algorithm>
#include <atomic>
#include <pthread.h>
#include <unistd.h>

#include "thread/detail/Monotonic.h"
#include "thread/detail/PosixThread.h"
#include "thread/detail/Registry.h"
#include "thread/JThread.h"

namespace jay::detail {

namespace {

constexpr long long ALL_THREADS_MS =
    2000;                                  ///< how long the end of the process waits for all threads together
constexpr long long EACH_THREAD_MS = 250;  ///< and for each one at least

std::atomic<bool> begun{false};
// Written before `begun`.
pthread_t endingThread;
long long deadline;

/** Whether the thread has ended, or was never able to use its object. A thread does not end itself here. */
bool stop(PosixThread& posix) {
    if (posix.isCallingThread()) return true;
    posix.cancel();
    return posix.waitForEnd(ProcessEnd::patience()) == 0;
}

void end(const Registry::Entry& entry) {
    PosixThread& posix = *entry.posix;
    if (entry.claimed) {  // another thread, normally its own, is destroying the object
        posix.waitForEnd(ProcessEnd::patience());
        return;
    }
    const bool isMainThread = !posix.isCreated() && entry.thread->getId() == JThreadInit::_tid;
    if (isMainThread && !posix.isCallingThread()) return;  // it runs on, and uses its object
    const bool allocated = Registry::isAllocated(entry.thread);
    // The destructor of a created thread ends it: a derived class may have its own way. A foreign thread may still use
    // its object unless it has ended.
    const bool stopped = (allocated && posix.isCreated()) || stop(posix);
    if (stopped && allocated) delete entry.thread;
}

}  // namespace

void ProcessEnd::run() {
    // For good: a thread that is cancelled on its way through exit() would leave the process running.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    endingThread = pthread_self();
    deadline = monotonicMilliseconds() + ALL_THREADS_MS;
    begun = true;
    for (Registry::Entry next{}; Registry::takeNext(next);) end(next);
}

bool ProcessEnd::hasBegun() {
    return begun;
}

int ProcessEnd::patience() {
    if (!begun) return -1;
    return static_cast<int>(std::max(deadline - monotonicMilliseconds(), EACH_THREAD_MS));
}

void ProcessEnd::holdMainThread() {
    const pthread_t self = pthread_self();
    while (begun && self == JThreadInit::_tid && pthread_equal(self, endingThread) == 0) pause();
}

}  // namespace jay::detail
