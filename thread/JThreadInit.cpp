#include "thread/JThreadInit.h"

#include <ctime>
#include <signal.h>

#include "thread/detail/CancelOff.h"
#include "thread/detail/ObjectBlock.h"
#include "thread/detail/ThreadControl.h"

using jay::detail::CancelOff;
using jay::detail::ThreadControl;

namespace {

// Made right after the output lock (init_priority 200) and before everything else; destroyed right before it.
__attribute__((init_priority(201))) JThreadInit theRegistry;

constexpr int UNLOAD_PATIENCE_MS = 2000;  ///< how long the end of the process waits for all threads together

pthread_key_t foreignKey;
long long unloadDeadline = 0;

long long monotonicMilliseconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000LL + t.tv_nsec / 1000000;
}

/** A foreign thread ends: the object that was adopted for it stays, but its handle is dead from now on. */
void foreignThreadEnds(void* held) {
    auto* control = static_cast<std::shared_ptr<ThreadControl>*>(held);
    (*control)->markEnded();
    delete control;
}

/** Arranges that the end of the calling, foreign thread is noticed. */
void watchCallingThread(const std::shared_ptr<ThreadControl>& control) {
    pthread_setspecific(foreignKey, new std::shared_ptr<ThreadControl>(control));
}

void ignoreSignal(int) {
}

/** Holds the registry's lock; there is none before load and after unload. */
class RegistryLock {
public:
    RegistryLock() : lock_(JThreadInit::_sync) {
        if (lock_ != nullptr) lock_->lock();
    }
    ~RegistryLock() {
        if (lock_ != nullptr) lock_->unlock();
    }
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;

private:
    JLock* lock_;
};

}  // namespace

JThreadInit::Node* JThreadInit::_tag = nullptr;
unsigned long JThreadInit::_tid = 0;
int JThreadInit::_count = 0;
JLock* JThreadInit::_sync = nullptr;
std::atomic<bool> JThreadInit::unloading{false};
std::atomic<bool> JThreadInit::threadRemains{false};

// ---- load and unload ----

JThreadInit::JThreadInit() {
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: the signal is there to make blocking calls fail with EINTR
    sigaction(SIGHUP, &action, nullptr);

    pthread_key_create(&foreignKey, foreignThreadEnds);
    _sync = new JLock;
    _tag = currentThread();
    _tid = _tag->thread->getId();
    _count = 0;
}

JThreadInit::~JThreadInit() {
    const CancelOff off;
    unloadDeadline = monotonicMilliseconds() + UNLOAD_PATIENCE_MS;
    unloading = true;
    while (destroyFirst()) {
    }
    if (threadRemains) return;  // it may still take the lock, which goes with the process
    delete _sync;
    _sync = nullptr;
}

/** Destroys the thread object at the head of the list, with no lock held; false when the list is empty. */
bool JThreadInit::destroyFirst() {
    JThread* thread = nullptr;
    std::shared_ptr<ThreadControl> control;
    bool mine = false;
    {
        const RegistryLock lock;
        if (_tag == nullptr) return false;
        thread = _tag->thread;
        control = thread->control;
        mine = !thread->deletionClaimed.exchange(true);
        if (mine) remove(thread);
    }
    if (mine && thread->block != nullptr) {
        delete thread;
    } else if (mine) {
        thread->~JThread();  // not made with new: its memory is somebody else's
    } else {
        // Another thread, normally its own, is destroying it. It takes the entry out itself.
        if (!control->joinWithin(patience())) threadRemains = true;
        remove(thread);
    }
    return true;
}

/** How long a destructor may wait for its thread, in ms; -1 for ever. */
int JThreadInit::patience() {
    if (!unloading) return -1;
    const long long left = unloadDeadline - monotonicMilliseconds();
    return left > 0 ? static_cast<int>(left) : 0;
}

// ---- the list ----

JThreadInit::Node* JThreadInit::currentThread() {
    const RegistryLock lock;
    const unsigned long self = pthread_self();
    if (Node* node = find(self, false)) return node;

    if (Node* node = find(self, true)) {
        // Adopted for a foreign thread that has ended; the system gave its id to this one.
        node->thread->interrupted_ = false;
        node->thread->control->revive();
        watchCallingThread(node->thread->control);
        return node;
    }
    new JThread(self, self);  // registers itself: the lock is recursive
    return find(self, false);
}

/** The entry of the thread with this id that is alive, or of the adopted one with this id that has ended. */
JThreadInit::Node* JThreadInit::find(unsigned long id, bool ended) {
    for (Node* node = _tag; node != nullptr; node = node->next) {
        if (node->thread->id != id || node->thread->control->hasEnded() != ended) continue;
        if (!ended || node->thread->control->kind() == ThreadControl::ADOPTED) return node;
    }
    return nullptr;
}

std::shared_ptr<ThreadControl> JThreadInit::controlOf(unsigned long handle, unsigned long id) {
    const RegistryLock lock;
    if (const Node* known = find(id, false)) return known->thread->control;
    const bool calling = pthread_equal(handle, pthread_self()) != 0;
    auto control = std::make_shared<ThreadControl>(calling ? ThreadControl::ADOPTED : ThreadControl::NAMED);
    control->setHandle(handle);
    if (calling) watchCallingThread(control);
    return control;
}

void JThreadInit::add(JThread* thread) {
    const RegistryLock lock;
    if (find(thread->id, false) != nullptr) return;
    Node** end = &_tag;
    while (*end != nullptr) end = &(*end)->next;
    *end = new Node{nullptr, thread};
    _count++;
}

/** Takes the thread's entry out, if it has one. */
bool JThreadInit::remove(JThread* thread) {
    const RegistryLock lock;
    for (Node** link = &_tag; *link != nullptr; link = &(*link)->next) {
        Node* node = *link;
        if (node->thread != thread) continue;
        *link = node->next;
        delete node;
        return true;
    }
    return false;
}

void JThreadInit::countRemoval() {
    const RegistryLock lock;
    _count++;
}
