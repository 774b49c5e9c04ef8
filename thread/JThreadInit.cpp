#include "thread/JThreadInit.h"

#include <algorithm>
#include <climits>
#include <new>
#include <set>
#include <signal.h>
#include <unistd.h>

#include "thread/detail/Monotonic.h"
#include "thread/detail/ScopedLock.h"
#include "thread/detail/ThreadControl.h"

using jay::detail::monotonicMilliseconds;
using jay::detail::ScopedLock;
using jay::detail::ThreadControl;

JThreadInit::Node* JThreadInit::_tag = nullptr;
unsigned long JThreadInit::_tid = 0;
int JThreadInit::_count = 0;
JLock* JThreadInit::_sync = nullptr;
std::atomic<bool> JThreadInit::unloading{false};

// Made right after the output lock (init_priority 200) and before everything else; destroyed right before it.
JThreadInit JThreadInit::_instance __attribute__((init_priority(201)));

namespace {

constexpr long long UNLOAD_PATIENCE_MS = 2000;  ///< how long the end of the process waits for all threads
constexpr long long CANCEL_PATIENCE_MS = 250;   ///< and for each one at least

// Written before `unloading` is set.
pthread_t unloader;
long long unloadDeadline = 0;

pthread_key_t foreignKey = PTHREAD_KEYS_MAX;  // no key at all until one is made
std::set<void*>* heapObjects = nullptr;       // guarded by _sync; never destroyed, as _sync

/** A foreign thread ends: the objects that were adopted for it stay, but its handle is dead from now on. */
void foreignThreadEnds(void* held) {
    auto* const control = static_cast<std::shared_ptr<ThreadControl>*>(held);
    (*control)->markEnded();
    delete control;
}

/**
 * The control of the calling, foreign thread, held in the thread itself: its end marks the end. Where there is no room
 * for that, the end has to be looked for.
 */
std::shared_ptr<ThreadControl> controlOfCallingThread() {
    using Held = std::shared_ptr<ThreadControl>;
    if (const auto* known = static_cast<Held*>(pthread_getspecific(foreignKey))) return *known;
    auto held = std::make_unique<Held>();
    const bool watched = pthread_setspecific(foreignKey, held.get()) == 0;
    *held = std::make_shared<ThreadControl>(watched ? ThreadControl::ADOPTED : ThreadControl::NAMED,
                                            pthread_self());
    return watched ? *held.release() : *held;
}

// fork() calls one after the other: clang cannot follow that.

void lockForFork() JAY_UNCHECKED_LOCKING {
    JThreadInit::_sync->lock();
}

void unlockAfterFork() JAY_UNCHECKED_LOCKING {
    JThreadInit::_sync->unlock();
}

void ignoreSignal(int) {
}

void installSignalHandler() {
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: the signal is there to make blocking calls fail with EINTR
    sigaction(SIGHUP, &action, nullptr);
}

}  // namespace

// ---- load ----

JThreadInit::JThreadInit() {
    installSignalHandler();
    _sync = new JLock;
    heapObjects = new std::set<void*>;
    pthread_key_create(&foreignKey, foreignThreadEnds);
    pthread_atfork(lockForFork, unlockAfterFork, startInChild);
    _tag = currentThread();
    _tag->owned = false;  // stays the main thread's, whatever becomes of that
    _tid = _tag->thread->getId();
    _count = 0;
}

// ---- fork ----

/** Only the calling thread lives on in the child; whatever the others had locked stays locked, and is made anew. */
void JThreadInit::startInChild() {
    new (_sync) JLock;
    for (Node* node = _tag; node != nullptr; node = node->next) {
        JThread* const thread = node->thread;
        node->visited = true;
        thread->control->startInChild();
        if (thread->control->isCallingThread()) continue;
        new (&thread->startEvent) JEvent;
        if (!thread->adopted) thread->alive = false;
    }
}

// ---- the end of the process ----

JThreadInit::~JThreadInit() {
    // For good: a thread that is cancelled on its way through exit() would leave the process running.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    unloader = pthread_self();
    unloadDeadline = monotonicMilliseconds() + UNLOAD_PATIENCE_MS;
    unloading = true;  // who is registered from here on is left alone, or this might not come to an end
    while (endNext()) {
    }
}

/** Ends the first thread in the list that was not dealt with yet, with no lock held; false if there is none. */
bool JThreadInit::endNext() {
    JThread* thread = nullptr;
    std::shared_ptr<ThreadControl> control;
    bool mine = false;
    {
        const ScopedLock lock(*_sync);
        Node* node = _tag;
        while (node != nullptr && node->visited) node = node->next;
        if (node == nullptr) return false;
        node->visited = true;
        thread = node->thread;
        control = thread->control;
        mine = !thread->deletionClaimed.exchange(true);
    }
    if (mine) {
        end(thread);
    } else {
        control->join(patience());  // another thread, normally its own, is destroying the object
    }
    return true;
}

void JThreadInit::end(JThread* thread) {
    const bool isMainThread = thread->adopted && thread->id == _tid;
    if (isMainThread && !thread->control->isCallingThread()) return;  // it runs on, and uses its object
    const bool allocated = isAllocated(thread);
    // A created thread is ended by the destructors: a derived class may have its own way. A foreign one may still
    // use its object unless it has ended.
    const bool ended = (allocated && !thread->adopted) || thread->stopThread();
    if (ended && allocated) delete thread;
}

/** How long to wait for a thread, in ms; -1 for ever. */
int JThreadInit::patience() {
    if (!unloading) return -1;
    return static_cast<int>(std::max(unloadDeadline - monotonicMilliseconds(), CANCEL_PATIENCE_MS));
}

/**
 * While another thread ends the process, the main thread does not come back from waiting for a thread: it would go on to
 * use and destroy what the end of the process is destroying.
 */
void JThreadInit::holdMainThread() {
    const pthread_t self = pthread_self();
    while (unloading && self == _tid && pthread_equal(self, unloader) == 0) pause();
}

// ---- the list ----

JThreadInit::Node* JThreadInit::currentThread() {
    const ScopedLock lock(*_sync);
    const unsigned long self = pthread_self();
    if (Node* const node = find(self)) return node;
    if (Node* const node = findVacant(self)) {
        takeOver(node);
        return node;
    }
    new JThread(self, self);  // registers itself: the lock is recursive
    Node* const node = find(self);
    node->owned = true;
    return node;
}

/** The entry of the living thread with this id. */
JThreadInit::Node* JThreadInit::find(unsigned long id) {
    for (Node* node = _tag; node != nullptr; node = node->next) {
        if (node->thread->id == id && !node->thread->control->hasEnded()) return node;
    }
    return nullptr;
}

/** An entry that was made for a foreign thread that has ended; the one with this id if there is such. */
JThreadInit::Node* JThreadInit::findVacant(unsigned long id) {
    Node* vacant = nullptr;
    for (Node* node = _tag; node != nullptr; node = node->next) {
        if (!node->owned || !node->thread->control->hasEnded()) continue;
        if (node->thread->id == id) return node;
        if (vacant == nullptr) vacant = node;
    }
    return vacant;
}

/** Makes the entry that of the calling, foreign thread. */
void JThreadInit::takeOver(Node* node) {
    JThread* const thread = node->thread;
    thread->handle = pthread_self();
    thread->id = pthread_self();
    thread->interrupted_ = false;
    thread->control = controlOfCallingThread();
    node->visited = unloading;
}

/** What is known of a thread that is about to be adopted. */
std::shared_ptr<ThreadControl> JThreadInit::controlOf(pthread_t handle) {
    const ScopedLock lock(*_sync);
    for (const Node* node = _tag; node != nullptr; node = node->next) {
        if (node->thread->handle == handle && !node->thread->control->hasEnded())
            return node->thread->control;
    }
    if (pthread_equal(handle, pthread_self()) != 0) return controlOfCallingThread();
    return std::make_shared<ThreadControl>(ThreadControl::NAMED, handle);
}

void JThreadInit::add(JThread* thread) {
    const ScopedLock lock(*_sync);
    if (find(thread->id) != nullptr) return;
    Node** end = &_tag;
    while (*end != nullptr) end = &(*end)->next;
    *end = new Node{nullptr, thread, false, unloading};
    _count++;
}

/** Takes the thread's entry out, if it has one. */
void JThreadInit::remove(JThread* thread) {
    const ScopedLock lock(*_sync);
    for (Node** link = &_tag; *link != nullptr; link = &(*link)->next) {
        Node* const node = *link;
        if (node->thread != thread) continue;
        *link = node->next;
        delete node;
        _count++;
        return;
    }
}

// ---- storage of thread objects ----

void* JThreadInit::allocate(std::size_t size) {
    void* const object = ::operator new(size);
    const ScopedLock lock(*_sync);
    heapObjects->insert(object);
    return object;
}

/** At the end of the process the memory stays: threads that go on may still look at the object. */
void JThreadInit::release(void* object) {
    if (object == nullptr || unloading) return;
    {
        const ScopedLock lock(*_sync);
        heapObjects->erase(object);
    }
    ::operator delete(object);
}

bool JThreadInit::isAllocated(JThread* thread) {
    const ScopedLock lock(*_sync);
    return heapObjects->count(dynamic_cast<void*>(thread)) != 0;
}
