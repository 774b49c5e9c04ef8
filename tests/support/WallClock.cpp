#include "support/WallClock.h"

#include <atomic>
#include <ctime>
#include <sys/time.h>

namespace {
std::atomic<long long> offsetMs{0};
}

void support::WallClock::set(long long ms) {
    offsetMs = ms;
}

// Both functions take the place of the C library's for the whole program, the library included. A 32-bit library that
// counts time in 64 bits calls the second one.

extern "C" int gettimeofday(timeval* now, void*) noexcept {
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    const long long seconds = real.tv_sec + offsetMs / 1000;
    now->tv_sec = static_cast<time_t>(seconds);  // of 32 bits where a time_t has no more
    now->tv_usec = static_cast<suseconds_t>(real.tv_nsec / 1000);
    return 0;
}

namespace {

/** A timeval of 64 bits on every system. */
struct Time64 {
    long long seconds;
    long long microseconds;
};

}  // namespace

extern "C" int __gettimeofday64(Time64* now, void*) noexcept;
extern "C" int __gettimeofday64(Time64* now, void*) noexcept {
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    *now = {real.tv_sec + offsetMs / 1000, real.tv_nsec / 1000};
    return 0;
}
