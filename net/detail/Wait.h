#ifndef JAY_NET_DETAIL_WAIT_H
#define JAY_NET_DETAIL_WAIT_H

namespace jay::detail {

class Descriptor;

enum class Readiness { READY, TIMED_OUT, FAILED };

constexpr int SLICE_MS = 100;  ///< the shortest wait, and how often a wait looks up that nothing wakes

/**
 * sys_select() for one descriptor of any number. Waits for `events` (poll's) for `timeout` milliseconds, one slice at
 * least, on the steady clock. Survives signals. Fails when the calling thread is interrupted or the descriptor is bad.
 * Sets errno to ETIMEDOUT after a time-out and leaves it alone when the descriptor is ready. A cancellation point.
 *
 * @param slice milliseconds between two looks at `guard`; INT_MAX for a reader, which close() and wake() wake.
 * @param guard ends the wait when it is closed (FAILED) or woken (TIMED_OUT); may be null.
 */
Readiness waitFor(int fd, short events, long long timeout, int slice, const Descriptor* guard);

/** Whether a wait goes on after select or poll has returned `result`, 0 or less: errno is still theirs then
 * and afterwards. Not once the calling thread is interrupted, nor after a failure other than EINTR and
 * EAGAIN. */
bool waitGoesOn(int result);

/** Whether a transfer failed with this errno only because it would have had to wait, or for a signal. */
bool isTransient(int error);

}  // namespace jay::detail

#endif
