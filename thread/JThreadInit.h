#ifndef JAY_THREAD_JTHREADINIT_H
#define JAY_THREAD_JTHREADINIT_H

#include "core/JObject.h"
#include "thread/JLock.h"

class JThread;

/**
 * The registry of all thread objects of the process. Its one static instance also does what is necessary when the
 * library is loaded and when the process ends. Applications normally use JThread::currentThread() instead.
 *
 * At load, an empty SIGHUP handler is installed without SA_RESTART, so that JThread::interrupt() makes blocking calls
 * fail with EINTR, and the loading thread is adopted. When the process ends, every thread is ended: see JThread.
 */
class JAY_API JThreadInit : public JObject {
public:
    /** One entry of the registry. */
    struct Node {
        Node* next;       ///< the entry behind this one; null in the last
        JThread* thread;  ///< the registered object
    };

    JThreadInit(const JThreadInit&) = delete;
    JThreadInit& operator=(const JThreadInit&) = delete;

    /** The calling thread's entry; adopts the thread first if it is not registered. Linear in the entries. */
    static Node* currentThread();

    /** Guards the list; null before the library is loaded. Never destroyed: threads that the library cannot end may use
     * it until the process ends. */
    static JLock* _sync;
    static Node* _tag JAY_GUARDED_BY(*_sync);  ///< the first entry; new ones go to the end
    static unsigned long _tid;                 ///< id of the thread that loaded the library
    /** The number of registrations and removals together. It never decreases (kept: callers may read it). */
    static int _count JAY_GUARDED_BY(*_sync);

private:
    JAY_HIDDEN JThreadInit();
    ~JThreadInit() override;

    JAY_HIDDEN static JThreadInit _instance;
};

#endif
