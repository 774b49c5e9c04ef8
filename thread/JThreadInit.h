#ifndef JAY_THREAD_JTHREADINIT_H
#define JAY_THREAD_JTHREADINIT_H

#include <atomic>
#include <memory>

#include "core/JObject.h"
#include "thread/JLock.h"
#include "thread/JThread.h"

/**
 * The registry of all threads of the process, by thread id, and the library's load and unload steps. One
 * static instance does the work; applications have no need of this class.
 *
 * At load: an empty SIGHUP handler is installed without SA_RESTART, so that JThread::interrupt() makes
 * blocking calls fail with EINTR, and the loading thread is adopted. At exit: every thread object left is
 * destroyed.
 *
 * Two threads never bear the same id at once, but the system gives the id of an ended thread to a new one:
 * entries whose thread has ended do not count in look-ups. A new foreign thread takes over the object that
 * was adopted for an ended one with its id, so that the registry stays small.
 */
class JAY_API JThreadInit : public JObject {
public:
    /** One entry of the registry. */
    struct Node {
        Node* next;
        JThread* thread;
    };

    JThreadInit();
    ~JThreadInit() override;
    JThreadInit(const JThreadInit&) = delete;
    JThreadInit& operator=(const JThreadInit&) = delete;

    /** The calling thread's entry; adopts the thread first if it is not registered. */
    static Node* currentThread();

    static Node* _tag;          ///< the first entry; new ones go to the end. Guarded by _sync
    static unsigned long _tid;  ///< id of the thread that loaded the library
    static int _count;    ///< registrations and removals together: only ever goes up (kept). Guarded by _sync
    static JLock* _sync;  ///< guards the list; null before load and after unload

private:
    friend class JThread;

    static void add(JThread* thread);
    static bool remove(JThread* thread);
    static void countRemoval();
    static Node* find(unsigned long id, bool ended);
    static std::shared_ptr<jay::detail::ThreadControl> controlOf(unsigned long handle, unsigned long id);
    static bool destroyFirst();
    static int patience();

    static std::atomic<bool> unloading;      // the process is ending: waits for threads are limited
    static std::atomic<bool> threadRemains;  // a thread could not be stopped and may still use the lock
};

#endif
