#ifndef JAY_THREAD_DETAIL_THREADCONTROL_H
#define JAY_THREAD_DETAIL_THREADCONTROL_H

#include <pthread.h>
#include <time.h>

namespace jay::detail {

/**
 * What must be known of one POSIX thread beyond the life of its JThread: whether it has ended and whether it
 * has been reaped. Shared by the thread objects, the thread itself and everyone who waits for it.
 *
 * Invariant: the handle goes to pthread_cancel only while the thread has not ended, and to pthread_join or
 * pthread_detach once at most. A thread that can tell of its own end (CREATED, ADOPTED) does so under `mutex_`
 * as its last act, so until then its handle is good.
 */
class ThreadControl {
public:
    enum Kind {
        CREATED,  ///< made by the library: tells of its end, is joined or detached here
        ADOPTED,  ///< foreign, adopted by itself: tells of its end, never joined here
        NAMED     ///< foreign, adopted by its handle: its end is looked for, never joined here
    };

    /** For a thread that is about to be created; setHandle() follows before anyone else sees this. */
    ThreadControl();
    /** For a foreign thread that exists. */
    ThreadControl(Kind kind, pthread_t handle);
    ~ThreadControl();
    ThreadControl(const ThreadControl&) = delete;
    ThreadControl& operator=(const ThreadControl&) = delete;

    void setHandle(pthread_t handle);

    /** Cancels the thread unless it has ended. */
    void cancel();

    /**
     * Waits for the end of the thread, for ever if `ms` is -1, and reaps it if the library made it.
     * Cancellable. Returns 0 when the thread has ended, EDEADLK on the thread itself, ETIMEDOUT.
     */
    int join(int ms);

    /** The last act of the thread itself. */
    void markEnded();

    bool hasEnded();

    /** Nobody will join: the thread detaches itself when it ends. Called on the thread itself. */
    void releaseOwner();
    bool ownerGone() const { return ownerGone_; }

    bool isCallingThread() const;

    /** In a forked child, which has the calling thread only: all others have ended, and nothing is locked. */
    void startInChild();

private:
    void initialize();
    bool isGone();
    bool waitUntilGone(int ms);
    int reap();

    const Kind kind_;
    pthread_mutex_t mutex_;
    pthread_cond_t endedChanged_;
    pthread_t handle_{};
    clockid_t clock_{};       // NAMED: the thread's own clock, which is gone as soon as the thread is
    bool ended_ = false;      // guarded by mutex_
    bool reaped_ = false;     // guarded by mutex_
    bool ownerGone_ = false;  // touched by the thread itself only
};

}  // namespace jay::detail

#endif
