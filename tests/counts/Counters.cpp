#include "counts/Counters.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <dlfcn.h>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>

namespace counts {

namespace {

struct Counts {
    std::atomic<long> receives, sends, polls, allocations, locks, waits, signals, clocks;
};

Counts counts;  // static storage: 0 before anything runs
thread_local bool leftOut;

void count(std::atomic<long>& counter) {
    if (!leftOut) counter++;
}

/** The C library's function of this name. */
template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void reset() {
    for (std::atomic<long>* counter : {&counts.receives, &counts.sends, &counts.polls, &counts.allocations,
                                       &counts.locks, &counts.waits, &counts.signals, &counts.clocks})
        *counter = 0;
}

Counters taken() {
    return {counts.receives, counts.sends, counts.polls,   counts.allocations,
            counts.locks,    counts.waits, counts.signals, counts.clocks};
}

void leaveOut() {
    leftOut = true;
}

}  // namespace counts

using counts::count;
using counts::original;

// What follows takes the place of the C library's functions, and of the operators, for the whole process.

extern "C" {

ssize_t recv(int fd, void* to, std::size_t n, int flags) {
    static auto* const real = original<decltype(recv)>("recv");
    count(counts::counts.receives);
    return real(fd, to, n, flags);
}

ssize_t send(int fd, const void* from, std::size_t n, int flags) {
    static auto* const real = original<decltype(send)>("send");
    count(counts::counts.sends);
    return real(fd, from, n, flags);
}

int poll(pollfd* entries, nfds_t n, int ms) {
    static auto* const real = original<decltype(poll)>("poll");
    count(counts::counts.polls);
    return real(entries, n, ms);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = original<decltype(pthread_mutex_lock)>("pthread_mutex_lock");
    count(counts::counts.locks);
    return real(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = original<decltype(pthread_mutex_trylock)>("pthread_mutex_trylock");
    count(counts::counts.locks);
    return real(mutex);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static auto* const real = original<decltype(pthread_cond_wait)>("pthread_cond_wait");
    count(counts::counts.waits);
    return real(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    static auto* const real = original<decltype(pthread_cond_timedwait)>("pthread_cond_timedwait");
    count(counts::counts.waits);
    return real(condition, mutex, deadline);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    static auto* const real = original<decltype(pthread_cond_signal)>("pthread_cond_signal");
    count(counts::counts.signals);
    return real(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    static auto* const real = original<decltype(pthread_cond_broadcast)>("pthread_cond_broadcast");
    count(counts::counts.signals);
    return real(condition);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    static auto* const real = original<decltype(clock_gettime)>("clock_gettime");
    count(counts::counts.clocks);
    return real(clock, now);
}

int gettimeofday(timeval* now, void* zone) noexcept {
    static auto* const real = original<decltype(gettimeofday)>("gettimeofday");
    count(counts::counts.clocks);
    return real(now, zone);
}

// What a 32-bit library that counts time in 64 bits calls instead.

int __pthread_cond_timedwait64(pthread_cond_t* condition, pthread_mutex_t* mutex, const void* deadline);
int __pthread_cond_timedwait64(pthread_cond_t* condition, pthread_mutex_t* mutex, const void* deadline) {
    static auto* const real = original<decltype(__pthread_cond_timedwait64)>("__pthread_cond_timedwait64");
    count(counts::counts.waits);
    return real(condition, mutex, deadline);
}

int __clock_gettime64(clockid_t clock, void* now) noexcept;
int __clock_gettime64(clockid_t clock, void* now) noexcept {
    static auto* const real = original<decltype(__clock_gettime64)>("__clock_gettime64");
    count(counts::counts.clocks);
    return real(clock, now);
}

int __gettimeofday64(void* now, void* zone) noexcept;
int __gettimeofday64(void* now, void* zone) noexcept {
    static auto* const real = original<decltype(__gettimeofday64)>("__gettimeofday64");
    count(counts::counts.clocks);
    return real(now, zone);
}

}  // extern "C"

void* operator new(std::size_t n) {
    count(counts::counts.allocations);
    if (void* const block = std::malloc(n > 0 ? n : 1)) return block;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
    return operator new(n);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
