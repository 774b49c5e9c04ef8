#include "thread/detail/Registry.h"

#include <new>
#include <set>

#include "thread/detail/PosixThread.h"
#include "thread/detail/ProcessEnd.h"
#include "thread/detail/ScopedLock.h"
#include "thread/JThread.h"

namespace jay::detail {

namespace {

using Entry = Registry::Entry;

// Neither is destroyed: threads that outlive the library's unloading may still register.
std::set<void*>& blocks() JAY_REQUIRES(*JThreadInit::_sync) {
    static auto* const all = new std::set<void*>;
    return *all;
}

Entry* nextOf(const JThreadInit::Node* node) {
    return static_cast<Entry*>(node->next);
}

Entry* first() JAY_REQUIRES(*JThreadInit::_sync) {
    return static_cast<Entry*>(JThreadInit::_tag);
}

Entry* find(const JThread* object) JAY_REQUIRES(*JThreadInit::_sync) {
    Entry* entry = first();
    while (entry != nullptr && entry->thread != object) entry = nextOf(entry);
    return entry;
}

/** The entry of the living thread with this id. */
Entry* findLiving(unsigned long id) JAY_REQUIRES(*JThreadInit::_sync) {
    for (Entry* entry = first(); entry != nullptr; entry = nextOf(entry)) {
        if (entry->thread->getId() == id && !entry->posix->hasEnded()) return entry;
    }
    return nullptr;
}

/** The entry of an adopted object whose thread has ended; that with this id if there is one. */
Entry* findVacant(unsigned long id) JAY_REQUIRES(*JThreadInit::_sync) {
    Entry* vacant = nullptr;
    for (Entry* entry = first(); entry != nullptr; entry = nextOf(entry)) {
        if (!entry->adopted || entry->claimed || entry->left || !entry->posix->hasEnded()) continue;
        vacant = entry;
        if (entry->thread->getId() == id) break;
    }
    return vacant;
}

}  // namespace

// ---- the list ----

std::shared_ptr<PosixThread> Registry::recordOf(const JThread& object) {
    const ScopedLock lock(*JThreadInit::_sync);
    return object.posix;
}

void Registry::add(JThread* object, const std::shared_ptr<PosixThread>& posix) {
    const ScopedLock lock(*JThreadInit::_sync);
    if (findLiving(object->getId()) != nullptr) return;
    JThreadInit::Node** end = &JThreadInit::_tag;
    while (*end != nullptr) end = &(*end)->next;
    *end = new Entry{{nullptr, object}, posix, false, false, ProcessEnd::hasBegun()};
    if (object->getId() == posix->handle()) posix->object = object;
    JThreadInit::_count++;
}

void Registry::remove(JThread* object) {
    const ScopedLock lock(*JThreadInit::_sync);
    for (JThreadInit::Node** link = &JThreadInit::_tag; *link != nullptr; link = &(*link)->next) {
        Entry* const entry = static_cast<Entry*>(*link);
        if (entry->thread != object) continue;
        *link = entry->next;
        if (entry->posix->object == object) entry->posix->object = nullptr;
        delete entry;
        JThreadInit::_count++;
        return;
    }
}

bool Registry::claim(JThread* object) {
    const ScopedLock lock(*JThreadInit::_sync);
    Entry* const entry = find(object);
    if (entry == nullptr) return true;
    const bool mine = !entry->claimed;
    entry->claimed = true;
    return mine;
}

// ---- adoption ----

/**
 * Foreign threads that come and go share objects, so that there are no more than threads at once. The object is not made
 * anew: other threads may be using it.
 */
Entry* Registry::adoptCallingThread() {
    const std::shared_ptr<PosixThread> record = recordOf(pthread_self());  // may throw, so it comes first
    Entry* entry = findVacant(record->handle());
    if (entry != nullptr) {
        entry->thread->takeOver(record);
        entry->posix->object = nullptr;
        entry->posix = record;
        record->object = entry->thread;
    } else {
        new JThread(record->handle(), record->handle());  // registers itself: the lock is recursive
        entry = findLiving(record->handle());
    }
    entry->adopted = true;
    return entry;
}

Entry* Registry::current() {
    const ScopedLock lock(*JThreadInit::_sync);
    Entry* const entry = findLiving(pthread_self());
    if (entry == nullptr) return adoptCallingThread();
    PosixThread::attach(entry->posix);
    return entry;
}

std::shared_ptr<PosixThread> Registry::recordOf(pthread_t handle) {
    const ScopedLock lock(*JThreadInit::_sync);
    const bool isCalling = pthread_equal(handle, pthread_self()) != 0;
    if (isCalling && PosixThread::current() != nullptr) return PosixThread::current()->shared_from_this();
    for (Entry* entry = first(); entry != nullptr; entry = nextOf(entry)) {
        if (pthread_equal(entry->posix->handle(), handle) != 0 && !entry->posix->hasEnded())
            return entry->posix;
    }
    const auto record = std::make_shared<PosixThread>(PosixThread::APPLICATION, handle);
    if (isCalling && !PosixThread::attach(record)) throw std::bad_alloc();
    return record;
}

// ---- the end of the process ----

bool Registry::takeNext(Entry& next) {
    const ScopedLock lock(*JThreadInit::_sync);
    Entry* entry = first();
    while (entry != nullptr && entry->left) entry = nextOf(entry);
    if (entry == nullptr) return false;
    entry->left = true;
    next = *entry;
    entry->claimed = true;
    return true;
}

void Registry::startInChild() {
    const ScopedLock lock(*JThreadInit::_sync);
    for (Entry* entry = first(); entry != nullptr; entry = nextOf(entry)) {
        entry->left = true;
        new (&entry->thread->startEvent)
            JEvent;  // a thread that the child does not have may have held its lock
    }
}

// ---- storage ----

void* Registry::allocate(std::size_t size) {
    void* const block = ::operator new(size);
    try {
        const ScopedLock lock(*JThreadInit::_sync);
        blocks().insert(block);
    } catch (const std::bad_alloc&) {
        ::operator delete(block);
        throw;
    }
    return block;
}

/** At the end of the process the memory stays: threads that go on may still look at the object. */
void Registry::release(void* block) {
    if (block == nullptr || ProcessEnd::hasBegun()) return;
    {
        const ScopedLock lock(*JThreadInit::_sync);
        blocks().erase(block);
    }
    ::operator delete(block);
}

bool Registry::isAllocated(JThread* object) {
    const ScopedLock lock(*JThreadInit::_sync);
    return blocks().count(dynamic_cast<void*>(object)) != 0;
}

}  // namespace jay::detail
