#include "thread/JThreadInit.h"

#include <new>
#include <pthread.h>
#include <signal.h>

#include "thread/detail/PosixThread.h"
#include "thread/detail/ProcessEnd.h"
#include "thread/detail/Registry.h"
#include "thread/JThread.h"

using jay::detail::PosixThread;
using jay::detail::ProcessEnd;
using jay::detail::Registry;

JThreadInit::Node* JThreadInit::_tag = nullptr;
unsigned long JThreadInit::_tid = 0;
int JThreadInit::_count = 0;
JLock* JThreadInit::_sync = nullptr;

// Made right after the output lock (init_priority 200) and before everything else; destroyed right before it.
JThreadInit JThreadInit::_instance __attribute__((init_priority(201)));

namespace {

void ignoreSignal(int) {
}

void installSignalHandler() {
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: the signal is there to make blocking calls fail with EINTR
    sigaction(SIGHUP, &action, nullptr);
}

// The lock is held across fork(), so that the child finds the list complete. fork() calls these one after the other:
// clang cannot follow that.

void lockForFork() JAY_UNCHECKED_LOCKING {
    JThreadInit::_sync->lock();
}

void unlockAfterFork() JAY_UNCHECKED_LOCKING {
    JThreadInit::_sync->unlock();
}

/** The child has the calling thread only. The lock is made anew: its holder has another identity here. */
void startInChild() {
    new (JThreadInit::_sync) JLock;
    PosixThread::startInChild();
    Registry::startInChild();
}

}  // namespace

JThreadInit::JThreadInit() {
    installSignalHandler();
    _sync = new JLock;
    PosixThread::initialize();
    pthread_atfork(lockForFork, unlockAfterFork, startInChild);
    Registry::Entry* const main = Registry::current();
    main->adopted = false;  // stays the main thread's, whatever becomes of that
    _tag = main;
    _tid = main->thread->getId();
    _count = 0;
}

JThreadInit::~JThreadInit() {
    ProcessEnd::run();
}

JThreadInit::Node* JThreadInit::currentThread() {
    return Registry::current();
}
