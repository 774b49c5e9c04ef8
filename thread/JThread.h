#ifndef JAY_THREAD_JTHREAD_H
#define JAY_THREAD_JTHREAD_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <pthread.h>

#include "core/JObject.h"
#include "thread/JEvent.h"
#include "thread/JRunnable.h"

namespace jay::detail {
class ObjectBlock;
class ThreadControl;
}  // namespace jay::detail

/**
 * One POSIX thread as an object. The thread is created with the object, waits until start() is called, then
 * runs the target's run(), or the object's own run() when there is no target.
 *
 * States: 0 under construction; 1 created, waiting for start(); 2 running; 3 destroyed before it was started;
 * 4 finished.
 *
 * Ownership: whoever made the object destroys it. Destroying a running thread cancels it and waits for it, so
 * every blocking call of the library is a cancellation point that leaves no lock held. A class whose run()
 * uses members of its own must make run() end in its own destructor (stop flag, then join()): the members go
 * before this class's destructor cancels the thread. With setAutoDelete(true) the object deletes itself when
 * its body ends.
 *
 * At process exit every thread object that still exists is destroyed: objects made with `new` are deleted,
 * others (on a stack, or part of another object) are only torn down. A thread that neither ends nor can be
 * cancelled within two seconds is left to the end of the process.
 *
 * Threads: any thread may call start(), join(), isAlive(), getId() and getHandle(); the rest is said per
 * operation.
 *
 * Handles: which threads have been joined, or have ended, is tracked here apart from the fields below, so
 * that the handle of a thread that is gone, which the system may have given to another since, never reaches a
 * pthread call.
 */
class JAY_API JThread : public JRunnable, public JObject {
public:
    /** Creates a thread that will run this object's own run(). */
    JThread();

    /** Creates a thread that will run `target->run()`; null is the same as JThread(). The target is not owned
     * (but see setAutoDelete()) and must live until the thread has ended. */
    explicit JThread(JRunnable* target);

    /**
     * Adopts a thread that exists already: no thread is created. The object is alive and in state 2 from the
     * start.
     * @param handle the thread; @param id its identity in the registry, normally the same number.
     */
    JThread(unsigned long handle, unsigned long id);

    /**
     * A never started thread ends without running anything; a running one is cancelled and waited for. An
     * adopted thread that still runs is cancelled, and waited for, but never joined: its maker does that.
     * Destroying an object on its own thread does not wait; the thread is then reaped by the system when it
     * ends.
     */
    ~JThread() override;

    JThread(const JThread&) = delete;
    JThread& operator=(const JThread&) = delete;

    /** The work of a thread without a target. Does nothing here. */
    void run() override;

    const JClass* getClass() const override;

    static const JClass classJThread;

    /**
     * Second half of construction: creates the thread (unless one was adopted) and enters it in the registry.
     * For constructors only. When no thread can be created the object stays in state 1 with handle and id 0,
     * is not registered, and join() returns 0 at once.
     */
    void initialize(JRunnable* target);

    /** The body of every created thread; @param self the JThread. */
    static void* proc(void* self);

    /** Lets a created thread run. Once: a second call, or one on an adopted or finished thread, does nothing.
     */
    void start();

    /**
     * Waits until the thread has ended. Blocks for ever on a thread that nobody starts. A cancellation point.
     * @param timeout ignored: there is no timed join (kept: callers pass all sorts of values).
     * @return 0 when the thread has ended, however many threads join it; EDEADLK when it is the calling
     * thread.
     */
    int join(int timeout);
    int join();

    /** Whether the thread is running its body; always true for an adopted thread. */
    bool isAlive();

    /** The thread's identity in the registry: its handle for created threads, 0 when creation failed. */
    unsigned long getId();

    pthread_t getHandle();

    /** With true, the object deletes itself when its body ends, and its destructor deletes the target. False
     * at first. */
    void setAutoDelete(bool on);

    /** Sleeps `ms` milliseconds in the calling thread; see JSystem::sleep(). A cancellation point. */
    static int sleep(int ms);

    /**
     * The object of the calling thread. A thread that the library did not create is adopted on its first
     * call; the object then lives until the process ends and stays the same for the life of that thread.
     */
    static JThread* currentThread();

    /**
     * Marks the calling thread (not another one: kept, callers rely on it) as interrupted and sends it
     * SIGHUP, which cuts a blocking system call short with EINTR. Waits on sockets fail from then on when
     * nothing is ready.
     * @return the result of pthread_kill, 0 on success.
     */
    static int interrupt();

    /** Whether interrupt() was ever called in the calling thread. Never cleared. */
    static bool interrupted();

    /** Self-check: starts three threads that print and count down, and sleeps 6 seconds. */
    static void Test();

    /** Storage of thread objects: remembers which of them were made with `new`, for the end of the process.
     */
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, void* place) noexcept;
    static void operator delete(void* object);
    static void operator delete(void* object, void* place) noexcept;

protected:
    /**
     * For destructors of derived classes: makes sure that run() is over, or never begins, before members go. Tell run() to
     * end first. Returns at once on the thread itself.
     */
    void finish();

private:
    friend class JThreadInit;

    bool createThread();
    void abandon();
    void stopThread();

    // Written by the owner and by the body without a common lock, hence atomic; nothing else is published
    // through them (the start event and the thread control order what matters), so relaxed accesses would do.
    std::atomic<pthread_t> handle;
    std::atomic<unsigned long> id;
    JRunnable* runnable;
    std::atomic<bool> alive;
    std::atomic<bool> autoDelete;
    std::atomic<bool> interrupted_;
    std::atomic<int> state;
    JEvent startEvent;

    std::shared_ptr<jay::detail::ThreadControl>
        control;                               // what is known of the thread itself; outlives this object
    jay::detail::ObjectBlock* block;           // where `new` put this object; null if it is not on the heap
    std::atomic<bool> deletionClaimed{false};  // set by whoever destroys the object
};

#endif
