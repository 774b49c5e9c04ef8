#ifndef JAY_THREAD_DETAIL_REGISTRY_H
#define JAY_THREAD_DETAIL_REGISTRY_H

#include <memory>
#include <pthread.h>

#include "thread/JThreadInit.h"

namespace jay::detail {

class PosixThread;

/**
 * What the library does with the list of thread objects that JThreadInit heads. All of it is guarded by
 * JThreadInit::_sync, which each function takes itself.
 *
 * Two threads never bear the same id at once, but the system gives the id of an ended thread to a new one: entries
 * whose thread has ended do not count in look-ups.
 */
class Registry {
public:
    /** A registered object: what JThreadInit::Node says of it, and what only the library needs. */
    struct Entry : JThreadInit::Node {
        std::shared_ptr<PosixThread> posix;
        bool adopted;  ///< made by current(); another foreign thread may have it after the end of its own
        bool claimed;  ///< somebody is destroying the object
        bool left;     ///< the end of the process has dealt with it, or leaves it alone
    };

    /** The record of the object's thread, also while the object is being taken over. */
    static std::shared_ptr<PosixThread> recordOf(const JThread& object);

    /** Appends the object, unless another one stands for the same living thread. */
    static void add(JThread* object, const std::shared_ptr<PosixThread>& posix);
    /** Removes the object if it is in the list. */
    static void remove(JThread* object);

    /** Whether the caller is to destroy the object: false if another thread does so already. */
    static bool claim(JThread* object);

    /** The calling thread's entry; adopts the thread if it has none. */
    static Entry* current();
    /** The record of a foreign thread that is about to be adopted. */
    static std::shared_ptr<PosixThread> recordOf(pthread_t handle);

    /** Claims the first entry that the end of the process has not dealt with. False if there is none. */
    static bool takeNext(Entry& next);
    /** In a forked child: the objects of the parent can be used, and stay when the process ends. */
    static void startInChild();

    /** The blocks of memory that operator new of JThread gives out: an object in one of them can be deleted. */
    static void* allocate(std::size_t size);
    static void release(void* block);
    static bool isAllocated(JThread* object);

private:
    static Entry* adoptCallingThread() JAY_REQUIRES(*JThreadInit::_sync);
};

}  // namespace jay::detail

#endif
