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
class PosixThread;
class Registry;
struct JThreadPeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * One POSIX thread as an object. The thread is created with the object, waits until start() is called, then
 * runs the target's run(), or the object's own run() when there is no target.
 *
 * States: 0 under construction; 1 created, waiting for start(); 2 running; 3 destroyed before it was started;
 * 4 finished.
 *
 * Ownership: whoever made the object destroys it. With setAutoDelete(true) the object deletes itself when its body
 * ends. Destroying a running thread cancels it and waits for it: every blocking call of the library is a cancellation
 * point that leaves no lock held. A class whose run() uses members of its own must make run() end in its own
 * destructor (set a flag, then call finish()), because its members are destroyed before this class's destructor
 * cancels the thread.
 *
 * End of the process (exit(), or the return of main()): every remaining thread is cancelled and waited for, and
 * every thread object that was made with `new` is deleted, in the order of creation. An object on a stack,
 * inside another object, or made by std::make_shared() is not destroyed; only its thread is ended. If a thread
 * does not end within two seconds, the process ends without waiting for it any longer. If another thread than the
 * main thread ends the process, join() and destructors do not return in the main thread any more.
 *
 * Fork: a child has the forking thread only. In it, join() and the destructor treat the other threads as ended, and
 * exit() deletes none of the objects that the parent made.
 *
 * Threads: any thread may call start(), join(), isAlive(), getId() and getHandle(); the others are described below.
 */
class JAY_API JThread : public JRunnable, public JObject {
public:
    /** Creates a thread that will run this object's own run(). */
    JThread();

    /** Creates a thread that will run `target->run()`; null is the same as JThread(). The target is not owned
     * (but see setAutoDelete()) and must live until the thread has ended. */
    explicit JThread(JRunnable* target);

    /**
     * Adopts a thread that exists already: no thread is created. The object is alive and in state 2 from the start.
     * Whoever created the thread still has to join or detach it. Unless the thread adopts itself, its handle must be
     * valid as long as the object exists: the thread may be joined only afterwards, and must not end detached before.
     * @param handle the thread.
     * @param id its identity in the registry, normally the same number.
     */
    JThread(unsigned long handle, unsigned long id);

    /**
     * A thread that was never started ends without running anything. A running thread is cancelled and waited for. An
     * adopted thread is cancelled but not joined, except the main thread, which continues. The destructor waits for an
     * adopted thread only if that thread has ever called currentThread(); otherwise its end cannot be noticed.
     * If an object is destroyed on its own thread, the destructor does not wait: the thread continues to its next
     * cancellation point, and the system releases it.
     */
    ~JThread() override;

    JThread(const JThread&) = delete;
    JThread& operator=(const JThread&) = delete;

    /** The work of a thread without a target. Does nothing here. */
    void run() override;

    const JClass* getClass() const override;

    static const JClass classJThread;

    /**
     * The second part of construction: creates the thread (unless one was adopted) and adds it to the registry.
     * For constructors only. If no thread can be created, the object stays in state 1 with handle and id 0,
     * is not registered, and join() returns 0 at once.
     */
    void initialize(JRunnable* target);

    /** The body of every created thread; @param self the JThread. */
    static void* proc(void* self);

    /** Starts the created thread. Has no effect on a running, adopted or finished thread. */
    void start();

    /**
     * Waits until the thread has ended. Blocks for ever if nobody starts the thread. A cancellation point.
     *
     * A thread that the library created is joined (pthread_join) by the first caller that waits for it. An adopted
     * thread is waited for but not joined: whoever created it joins it, and a second pthread_join is undefined.
     * However, the end of an adopted thread that has never called currentThread() cannot be noticed without joining it:
     * join() then calls pthread_join(), and the creator must not join the thread any more.
     *
     * @param timeout ignored: there is no timed join (kept: callers pass various values).
     * @return 0 when the thread has ended, however many threads wait for it; EDEADLK on the thread itself;
     * pthread_join's error for a thread adopted by its handle; ETIMEDOUT only while the process ends.
     */
    int join(int timeout);
    int join();

    /** Whether the thread is running run(); always true for an adopted thread. */
    bool isAlive();

    /** The thread's identity in the registry: its handle for created threads, 0 when creation failed. */
    unsigned long getId();

    /** The system's handle of the thread. */
    pthread_t getHandle();

    /** With true, the object deletes itself when run() has ended, and its destructor deletes the target. The default is
     * false. */
    void setAutoDelete(bool on);

    /** Sleeps `ms` milliseconds in the calling thread; as JSystem::sleep() does. A cancellation point. */
    static int sleep(int ms);

    /**
     * The object of the calling thread. Takes no lock. A thread that the library did not create is adopted on its first
     * call; the object then exists until the process ends, and is the same in all calls of that thread. After the thread
     * has ended, the object may be used for a later thread.
     * Throws std::bad_alloc if there is no memory to adopt the thread.
     */
    static JThread* currentThread();

    /**
     * Marks the calling thread (not another one: kept, callers rely on it) as interrupted and sends it
     * SIGHUP, so that a blocking system call fails with EINTR. From then on, waits on sockets fail if
     * nothing is ready.
     * @return the result of pthread_kill, 0 on success.
     */
    static int interrupt();

    /** Whether interrupt() was ever called in the calling thread. Never cleared. */
    static bool interrupted();

    /** Self-check: starts three threads that print and count down, and sleeps 6 seconds. */
    static void Test();

    /** These operators record the objects made with `new`, which are deleted when the process ends. Objects of
     * over-aligned classes are not recorded. */
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
     * For destructors of derived classes: waits until run() has ended, or is certain never to begin. Make run() end
     * before, for example by a flag; a thread that was started still calls run(). Returns at once on the thread itself.
     */
    void finish();

private:
    friend class jay::detail::Registry;
    friend struct jay::detail::JThreadPeer;

    JAY_HIDDEN void takeOver(const std::shared_ptr<jay::detail::PosixThread>& thread);
    JAY_HIDDEN bool createThread();
    JAY_HIDDEN void abandon();
    JAY_HIDDEN void stopThread();
    JAY_HIDDEN void runBody();

    // Atomic because another thread may ask while an adopted object is taken over.
    std::atomic<pthread_t> handle;
    std::atomic<unsigned long> id;
    JRunnable* runnable;
    // Atomic is what several threads touch without a common lock. A thread that sees `alive` false sees all that the
    // body did (release and acquire; the default order is as good in these rare accesses). The others order nothing.
    std::atomic<bool> alive;
    std::atomic<bool> autoDelete;
    std::atomic<bool> interrupted_;  // set by the thread itself; others may look at it
    std::atomic<int> state;
    JEvent startEvent;

    const bool adopted;
    // Outlives this object while others wait for the thread. Written under JThreadInit::_sync when the object is taken
    // over, and read under it where that may happen at the same time.
    std::shared_ptr<jay::detail::PosixThread> posix;
    std::atomic<bool> started{false};  // start() came in time: run() will begin
};

#endif
