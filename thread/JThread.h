#ifndef JAY_THREAD_JTHREAD_H
#define JAY_THREAD_JTHREAD_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <pthread.h>

#include "core/JObject.h"
#include "thread/JEvent.h"
#include "thread/JRunnable.h"

namespace jay::detail {
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
 * uses members of its own must make run() end in its own destructor (stop flag, then finish()): the members
 * go before this class's destructor cancels the thread. With setAutoDelete(true) the object deletes itself
 * when its body ends.
 *
 * At the end of the process (exit(), or the return of main()) every thread that is left is ended, and every
 * thread object that was made with `new` is deleted. Objects on a stack, or inside other objects, are not
 * destroyed, only their threads are ended; the same goes for what std::make_shared() and classes with an
 * `operator new` of their own made. A thread that neither ends nor can be cancelled within two seconds is left
 * to the end of the process. When another thread than the main thread ends the process, the main thread goes
 * on meanwhile, except that it does not come back from waiting for a thread.
 *
 * A forked child has no thread but the one that forked: the other objects are then finished threads, and none
 * of those that the parent made is destroyed when the child exits.
 *
 * Threads: any thread may call start(), join(), isAlive(), getId() and getHandle(); the rest is said per
 * operation.
 *
 * Handles: which threads have been joined, or have ended, is tracked apart from the fields below, so that the
 * handle of a thread that is gone, which the system may have given to another since, never reaches a pthread
 * call.
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
     * start. Its maker joins or detaches the thread, best after this object is gone.
     * @param handle the thread; @param id its identity in the registry, normally the same number.
     */
    JThread(unsigned long handle, unsigned long id);

    /**
     * A never started thread ends without running anything; a running one is cancelled and waited for. An
     * adopted thread is treated the same, but never joined, unless it is the main thread: that one goes on.
     * Destroying an object on its own thread does not wait: the thread goes on up to its next cancellation
     * point and is reaped by the system.
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

    /** Lets a created thread run, once: on a running, adopted or finished thread nothing happens. */
    void start();

    /**
     * Waits until the thread has ended. Blocks for ever on a thread that nobody starts. A cancellation point.
     * @param timeout ignored: there is no timed join (kept: callers pass all sorts of values).
     * @return 0 when the thread has ended, however many threads join it; EDEADLK when it is the calling
     * thread. ETIMEDOUT only while the process ends.
     */
    int join(int timeout);
    int join();

    /** Whether the thread is running its body; always true for an adopted thread. */
    bool isAlive();

    /** The thread's identity in the registry: its handle for created threads, 0 when creation failed. */
    unsigned long getId();

    /** The system's handle of the thread. */
    pthread_t getHandle();

    /** With true, the object deletes itself when its body ends, and its destructor deletes the target. False
     * at first. */
    void setAutoDelete(bool on);

    /** Sleeps `ms` milliseconds in the calling thread; as JSystem::sleep() does. A cancellation point. */
    static int sleep(int ms);

    /**
     * The object of the calling thread. A thread that the library did not create is adopted on its first
     * call; the object then lives until the process ends and stays the same for the life of that thread.
     * After it, the object may become that of a later thread.
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

    /** These remember which objects were made with `new`: only they are deleted at the end of the process.
     * Objects of over-aligned classes are not among them. */
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
    static void* operator new(std::size_t size, std::align_val_t alignment);
    static void* operator new(std::size_t size, void* place) noexcept;
    static void operator delete(void* object);
    static void operator delete(void* object, const std::nothrow_t&) noexcept;
    static void operator delete(void* object, std::align_val_t alignment);
    static void operator delete(void* object, void* place) noexcept;

protected:
    /**
     * For destructors of derived classes: makes sure that run() is over, or never begins, before members go.
     * Tell run() to end first: a thread that has been started still begins. Returns at once on the thread itself.
     */
    void finish();

private:
    friend class JThreadInit;

    bool createThread();
    void abandon();
    bool stopThread();
    int waitForEnd();
    std::shared_ptr<jay::detail::ThreadControl> sharedControl();

    // Atomic is what several threads touch without a common lock. Who sees `alive` false sees all that the body did
    // (release and acquire, the default order being as good in these rare accesses); the others order nothing.
    std::atomic<pthread_t> handle;
    std::atomic<unsigned long> id;
    JRunnable* runnable;
    std::atomic<bool> alive;
    std::atomic<bool> autoDelete;
    std::atomic<bool> interrupted_;  // set by the thread itself; others may look at it
    std::atomic<int> state;
    JEvent startEvent;

    const bool adopted;
    // What is known of the thread itself, which outlives this object. Replaced under the registry's lock when
    // another foreign thread takes the object over.
    std::shared_ptr<jay::detail::ThreadControl> control;
    std::atomic<bool> deletionClaimed{false};  // set by whoever destroys the object
    std::atomic<bool> started{false};          // start() came in time: run() will begin
};

#endif
