#ifndef JAY_NET_DETAIL_WAIT_H
#define JAY_NET_DETAIL_WAIT_H

namespace jay::detail {

enum class Readiness { READY, TIMED_OUT, FAILED };

/** Decides between two looks at a descriptor whether the wait goes on. */
class WaitWatcher {
public:
    virtual Readiness look() = 0;  ///< READY: go on waiting; anything else ends the wait with that result

protected:
    ~WaitWatcher() = default;
};

/**
 * sys_select() for one descriptor of any number: waits for `events` (poll's), survives signals, fails when
 * the calling thread is interrupted or the descriptor is bad, sets errno to ETIMEDOUT after a time-out and
 * leaves it alone when the descriptor is ready. It waits at least one slice of 100 ms. Later looks are
 * `slice` ms apart: as long as the time-out allows for a reader, which is woken when its socket closes, so
 * that a quiet connection costs no wake-ups. A cancellation point. @param timeout milliseconds.
 */
Readiness waitFor(int fd, short events, long long timeout, int slice, WaitWatcher& watcher);

constexpr int SLICE_MS = 100;

/** Whether a transfer failed with this errno only because it would have had to wait, or for a signal. */
bool isTransient(int error);

/** Whether a wait goes on after select or poll has returned `result`, 0 or less: errno is still theirs then
 * and afterwards. Not once the calling thread is interrupted, nor after a failure other than EINTR and
 * EAGAIN. */
bool waitGoesOn(int result);

}  // namespace jay::detail

#endif
