#ifndef JAY_THREAD_JTHREADINIT_H
#define JAY_THREAD_JTHREADINIT_H

#include <atomic>
#include <cstddef>
#include <memory>

#include "core/JObject.h"
#include "thread/JLock.h"
#include "thread/JThread.h"

/**
 * The registry of all threads of the process, by thread id, and the library's load and unload steps. One
 * static instance does the work; applications have no need of this class.
 *
 * At load: an empty SIGHUP handler is installed without SA_RESTART, so that JThread::interrupt() makes
 * blocking calls fail with EINTR, and the loading thread is adopted. At exit: every thread left is ended, see
 * JThread.
 *
 * Two threads never bear the same id at once, but the system gives the id of an ended thread to a new one:
 * entries whose thread has ended do not count in look-ups. A new foreign thread takes over an object that was
 * adopted for one that has ended, that with its own id if there is one: so the registry holds no more adopted
 * threads than there were at once.
 */
class JAY_API JThreadInit : public JObject {
public:
    /** One entry of the registry. */
    struct Node {
        Node* next;       ///< the entry behind this one; null in the last
        JThread* thread;  ///< registered, not owned
        bool owned;       ///< adopted by currentThread(); another thread may take it over
        bool visited;     ///< the end of the process has dealt with it, or leaves it alone
    };

    JThreadInit(const JThreadInit&) = delete;
    JThreadInit& operator=(const JThreadInit&) = delete;

    /** The calling thread's entry; adopts the thread first if it is not registered. */
    static Node* currentThread();

    static Node* _tag;          ///< the first entry; new ones go to the end. Guarded by _sync
    static unsigned long _tid;  ///< id of the thread that loaded the library
    static int _count;  ///< registrations and removals together: only ever goes up (kept). Guarded by _sync
    /** Guards the list; null before load. Never destroyed: threads that the library cannot end may take it for
     * as long as the process lasts. */
    static JLock* _sync;

private:
    friend class JThread;

    JThreadInit();
    ~JThreadInit() override;

    static void add(JThread* thread);
    static void remove(JThread* thread);
    static Node* find(unsigned long id);
    static Node* findVacant(unsigned long id);
    static void takeOver(Node* node);
    static std::shared_ptr<jay::detail::ThreadControl> controlOf(pthread_t handle);

    static bool endNext();
    static void end(JThread* thread);
    static int patience();
    static void holdMainThread();
    static void startInChild();

    static void* allocate(std::size_t size);
    static void release(void* object);
    static bool isAllocated(JThread* thread);

    static JThreadInit _instance;
    static std::atomic<bool> unloading;  // the process is ending: waits for threads are limited
};

#endif
