#ifndef JAY_THREAD_JEVENT_H
#define JAY_THREAD_JEVENT_H

#include <atomic>
#include <pthread.h>

#include "core/JObject.h"

namespace jay::detail {
struct JEventPeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * A counting event: threads sleep in wait() until another thread calls set().
 *
 * The event counts the signals that no wait() has consumed yet. A wait() that finds signals, or is woken by one, consumes
 * one of them (as a counting semaphore does), or all of them at once after setAutoReset(true).
 * A set() before the wait() is therefore never lost.
 *
 * Any thread may call any operation at any time. No thread may be waiting when the event is destroyed. wait()
 * is a cancellation point: a thread cancelled in it leaves the event, its signals included, as if it had
 * never waited.
 */
class JAY_API JEvent : public JObject {
public:
    static const JClass classJEvent;

    /** No signal pending, automatic reset off. */
    JEvent();
    ~JEvent() override;
    JEvent(const JEvent&) = delete;
    JEvent& operator=(const JEvent&) = delete;

    /** Returns &classJEvent. */
    const JClass* getClass() const override;

    /** Chooses what a successful wait consumes: one signal (false, the default) or all that are pending
     * (true). */
    void setAutoReset(bool on);

    /**
     * Adds one signal and wakes the waiting threads; each signal lets one of them continue. Returns 0. The count stops at
     * 2147483647: further signals are dropped, so the count is never negative.
     */
    int set();

    /** The same as set(). */
    int notify();

    /**
     * Removes one pending signal, if there is one: only one, not all (kept: callers rely on it). Waiting
     * threads are woken, and continue to wait if no signal is pending. Returns 0.
     */
    int reset();

    /** The number of signals pending now. */
    int count() const;

    /** Waits for ever: wait(-1). */
    int wait();

    /**
     * Waits until a signal is pending, for at most ms milliseconds, and consumes it (see setAutoReset()).
     *
     * @param ms  -1 waits for ever. 0 and every other negative number look once and do not block.
     * @return how many signals were pending, the consumed ones included: at least 1. -1 when the time was up.
     *
     * Kept: callers rely on the missing carry. The deadline is now plus `ms`, without carrying microseconds into the
     * seconds. When the microseconds of the time of day and those of `ms % 1000` make a second or more together, the
     * wait does not block: it returns at once, -1 if no signal was pending. So a time-out that is not a multiple of
     * 1000 ms may end early, and a caller that needs the time to pass calls again. A multiple of 1000 ms always waits
     * in full. The time runs on the steady clock: setting the time of day neither ends a wait nor prolongs it.
     */
    int wait(int ms);

private:
    friend struct jay::detail::JEventPeer;

    JAY_HIDDEN bool waitAtMost(int ms);
    JAY_HIDDEN int consume();

    mutable pthread_mutex_t mutex;  // guards count_
    pthread_cond_t condition;
    int count_;
    // Written without the mutex while other threads wait. Relaxed: it orders nothing, a wait takes either
    // value.
    std::atomic<bool> autoReset;

    int waiters;  // threads inside wait(); guarded by mutex
};

#endif
