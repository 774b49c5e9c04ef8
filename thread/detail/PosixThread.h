#ifndef JAY_THREAD_DETAIL_POSIXTHREAD_H
#define JAY_THREAD_DETAIL_POSIXTHREAD_H

#include <atomic>
#include <memory>
#include <pthread.h>
#include <sys/types.h>

class JThread;

namespace jay::detail {

/**
 * One POSIX thread, apart from the JThread objects that stand for it: whether it has ended, and whether it has been
 * joined. The thread itself, its objects and whoever waits for it share the record.
 *
 * Invariant: the handle goes to pthread_cancel only while the thread has not ended, and to pthread_join or
 * pthread_detach at most once. An attached thread marks its end under mutex_ as its last act, so its handle is good
 * until then.
 *
 * The end of a thread that was adopted by its handle is noticed only if that thread attaches itself, which the first
 * JThread::currentThread() in it does. Until then its handle is good because its maker keeps it so.
 */
class PosixThread : public std::enable_shared_from_this<PosixThread> {
public:
    enum Maker {
        LIBRARY,     ///< attaches itself before anything else; joined or detached here
        APPLICATION  ///< joined or detached by its maker
    };

    /** @param handle the thread's; for a thread that is about to be created, setHandle() follows. */
    explicit PosixThread(Maker maker, pthread_t handle = {});
    ~PosixThread();
    PosixThread(const PosixThread&) = delete;
    PosixThread& operator=(const PosixThread&) = delete;

    /** Once per process, before anything else. */
    static void initialize();

    /** The record of the calling thread; null if it is not attached. */
    static PosixThread* current();

    /**
     * Makes the record that of the calling thread, which will mark its end in it. False, and nothing done, when memory
     * runs out.
     */
    static bool attach(const std::shared_ptr<PosixThread>& thread);
    /** The last act of the calling thread, attached or not. The system calls it for threads that the library did not create. */
    static void end(const std::shared_ptr<PosixThread>& thread);

    /** In a forked child, on the one thread that it has. */
    static void startInChild();

    void setHandle(pthread_t handle) { handle_ = handle; }
    pthread_t handle() const { return handle_; }
    bool isCreated() const { return maker_ == LIBRARY; }
    bool isCallingThread();
    /** Also true of every thread of the parent in a forked child. */
    bool hasEnded();

    /** Cancels the thread unless it has ended. */
    void cancel();

    /**
     * Waits until the thread has ended, and joins it if the library made it. A cancellation point.
     * @param ms how long to wait, -1 for ever.
     * @return 0 when the thread has ended, also at once if nobody will notice its end; ETIMEDOUT.
     */
    int waitForEnd(int ms);

    /** As waitForEnd(), but EDEADLK on the thread itself; if nobody will notice the end, pthread_join() itself. */
    int join(int ms);

    /** On the thread itself: nobody will join it, the system reaps it when it ends. */
    void release();
    /** On the thread itself: whether release() was called. */
    bool isReleased() const { return released_; }

    /** The registered object of the thread, which currentThread() returns there; null if it has none. */
    std::atomic<JThread*> object{nullptr};

private:
    bool isInherited() const;
    bool isAttached();
    void initializeLock();
    void markEnded();
    bool waitUntilEnded(int ms);
    int reap();

    const Maker maker_;
    pid_t process_;  // threads do not survive a fork
    pthread_mutex_t mutex_;
    pthread_cond_t endedChanged_;
    pthread_t handle_;
    bool attached_;                        // guarded by mutex_
    bool ended_;                           // guarded by mutex_
    bool reaped_ = false;                  // guarded by mutex_
    bool released_ = false;                // touched by the thread itself only
    std::shared_ptr<PosixThread> self_{};  // while the thread is attached; touched by the thread itself only
};

}  // namespace jay::detail

#endif
