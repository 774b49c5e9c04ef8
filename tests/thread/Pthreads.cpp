#include "thread/Pthreads.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace {

/**
 * A handle that pthread_create has given out. All accesses are relaxed: the watch must not order what the program
 * does not order itself.
 */
struct Entry {
    std::atomic<pthread_t> handle{0};
    std::atomic<unsigned> life{0};  // odd while the handle is good; every creation and end makes it grow
    std::atomic<int> joins{0};
    std::atomic<int> cancels{0};
    std::atomic<int> detaches{0};
};

constexpr std::size_t ENTRIES = 4096;
Entry entries[ENTRIES];
thread_local int failure = 0;
thread_local bool setspecificFails = false;

constexpr auto RELAXED = std::memory_order_relaxed;

Entry& entryOf(pthread_t handle) {
    for (std::size_t i = (handle >> 12) % ENTRIES;; i = (i + 1) % ENTRIES) {
        pthread_t found = entries[i].handle.load(RELAXED);
        if (found == 0 && entries[i].handle.compare_exchange_strong(found, handle, RELAXED)) found = handle;
        if (found == handle) return entries[i];
    }
}

bool isGood(unsigned life) {
    return life % 2 != 0;
}

void created(pthread_t handle) {
    Entry& entry = entryOf(handle);
    entry.joins.store(0, RELAXED);
    entry.cancels.store(0, RELAXED);
    entry.detaches.store(0, RELAXED);
    // Still odd when whoever joined the last thread with this handle has not noted it yet: even so it is a new life.
    unsigned life = entry.life.load(RELAXED);
    while (!entry.life.compare_exchange_weak(life, isGood(life) ? life + 2 : life + 1, RELAXED)) {
    }
}

void ended(Entry& entry, unsigned life) {
    entry.life.compare_exchange_strong(life, life + 1, RELAXED);
}

/** The life that a call finds; a handle that was never given out (the main thread's) is good. */
unsigned lookAt(Entry& entry, const char* call) {
    const unsigned life = entry.life.load(RELAXED);
    if (life == 0 || isGood(life)) return life;
    std::fprintf(stderr, "%s on the handle of a thread that is gone\n", call);
    std::abort();
}

template <typename Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void thread::failNextCreate(int error) {
    failure = error;
}

void thread::failNextSetspecific() {
    setspecificFails = true;
}

thread::Calls thread::callsOn(pthread_t thread) {
    const Entry& entry = entryOf(thread);
    return {entry.joins.load(RELAXED), entry.cancels.load(RELAXED), entry.detaches.load(RELAXED)};
}

#define JAY_EXPORT extern "C" __attribute__((visibility("default")))

JAY_EXPORT int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    static auto* const next = real(pthread_create, "pthread_create");
    if (failure != 0) {
        const int error = failure;
        failure = 0;
        *thread = static_cast<pthread_t>(-1) / 3;
        return error;
    }
    const int result = next(thread, attributes, body, argument);
    if (result == 0) created(*thread);
    return result;
}

JAY_EXPORT int pthread_join(pthread_t thread, void** value) {
    static auto* const next = real(pthread_join, "pthread_join");
    Entry& entry = entryOf(thread);
    const unsigned life = lookAt(entry, "pthread_join");
    entry.joins.fetch_add(1, RELAXED);
    const int result = next(thread, value);
    if (result == 0) ended(entry, life);
    return result;
}

JAY_EXPORT int pthread_detach(pthread_t thread) noexcept {
    static auto* const next = real(pthread_detach, "pthread_detach");
    Entry& entry = entryOf(thread);
    lookAt(entry, "pthread_detach");
    entry.detaches.fetch_add(1, RELAXED);
    entry.life.store(0, RELAXED);  // good until it ends, which nobody notices
    return next(thread);
}

JAY_EXPORT int pthread_cancel(pthread_t thread) {
    static auto* const next = real(pthread_cancel, "pthread_cancel");
    Entry& entry = entryOf(thread);
    lookAt(entry, "pthread_cancel");
    entry.cancels.fetch_add(1, RELAXED);
    return next(thread);
}

#ifndef __SANITIZE_THREAD__  // the sanitizer calls it itself, before a thread can run instrumented code
JAY_EXPORT int pthread_setspecific(pthread_key_t key, const void* value) noexcept {
    static auto* const next = real(pthread_setspecific, "pthread_setspecific");
    if (!setspecificFails) return next(key, value);
    setspecificFails = false;
    return ENOMEM;
}
#endif
