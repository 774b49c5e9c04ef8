#ifndef JAY_THREAD_DETAIL_THREADCONTROL_H
#define JAY_THREAD_DETAIL_THREADCONTROL_H

#include <pthread.h>
#include <sys/types.h>

namespace jay::detail {

/**
 * What must be known of one POSIX thread beyond the life of its JThread: whether it has ended and whether it
 * has been reaped. Shared by the object, the thread and everyone who waits for it.
 *
 * Invariant: the handle is passed to pthread_cancel only while `ended_` is false, and to pthread_join or
 * pthread_detach at most once, both under `mutex_`. A created thread sets `ended_` itself, as its last act,
 * so until then its handle is good.
 */
class ThreadControl {
public:
    enum Kind {
        CREATED,  ///< made by the library: sets ended itself, is joined or detached here
        ADOPTED,  ///< foreign, seen from inside: sets ended as it exits, never joined here
        NAMED     ///< foreign, adopted by its handle from another thread: its end cannot be seen
    };

    explicit ThreadControl(Kind kind);
    ~ThreadControl();
    ThreadControl(const ThreadControl&) = delete;
    ThreadControl& operator=(const ThreadControl&) = delete;

    Kind kind() const { return kind_; }
    void setHandle(pthread_t handle);

    /** Cancels the thread unless it has ended. */
    void cancel();

    /** Waits for the end of the thread and reaps it; 0, or an error number as pthread_join gives it.
     * Cancellable. */
    int join();

    /** The same without blocking for longer than `ms`, or for ever if -1. True when the thread has ended. */
    bool joinWithin(int ms);

    /** Called by the thread itself as its last act (by an adopted one: as it exits). */
    void markEnded();

    /** A foreign thread that bears an ended one's id takes over its object. */
    void revive();

    bool hasEnded();

    /** Nobody will join: the thread detaches itself when it ends. Called on the thread itself. */
    void releaseOwner();
    bool ownerGone() const { return ownerGone_; }

    bool isCallingThread() const;

private:
    bool waitEnded(int ms);
    int reap();

    const Kind kind_;
    const pid_t process_;  // a thread does not exist in a forked child
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t endedChanged_;
    pthread_t handle_{};      // set before any other thread can see this object
    bool ended_ = false;      // guarded by mutex_
    bool reaped_ = false;     // guarded by mutex_
    bool ownerGone_ = false;  // touched by the thread itself only
};

}  // namespace jay::detail

#endif
