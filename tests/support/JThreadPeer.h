/** @file What the tests of JThread look at inside: the fields that no operation returns. */
#ifndef JAY_TESTS_SUPPORT_JTHREADPEER_H
#define JAY_TESTS_SUPPORT_JTHREADPEER_H

#include "thread/JThread.h"

struct jay::detail::JThreadPeer {
    static int state(const JThread& thread) { return thread.state; }
    static JRunnable* runnable(const JThread& thread) { return thread.runnable; }
    static bool autoDelete(const JThread& thread) { return thread.autoDelete; }
    static bool interrupted(const JThread& thread) { return thread.interrupted_; }
    static void setInterrupted(JThread& thread) { thread.interrupted_ = true; }
    static JEvent& startEvent(JThread& thread) { return thread.startEvent; }
    static int startSignals(const JThread& thread) { return thread.startEvent.count(); }
};

#endif
