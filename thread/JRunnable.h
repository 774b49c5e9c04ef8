#ifndef JAY_THREAD_JRUNNABLE_H
#define JAY_THREAD_JRUNNABLE_H

#include "core/JExport.h"

/**
 * Something that a thread runs: an interface with one operation, implemented by applications and handed to a
 * JThread. It is not a JObject. The thread does not own it, unless JThread::setAutoDelete() says so.
 */
class JAY_API JRunnable {
public:
    JRunnable() = default;
    virtual ~JRunnable();

    /** The work. Called once, on the started thread. The thread may be cancelled in any blocking call. */
    virtual void run() = 0;

protected:
    JRunnable(const JRunnable&) = default;
    JRunnable& operator=(const JRunnable&) = default;
};

#endif
