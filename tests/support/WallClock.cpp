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

/** Takes the place of the C library's function for the whole program, the library included. */
extern "C" int gettimeofday(timeval* now, void*) noexcept {
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    const long long ms = offsetMs;
    now->tv_sec = real.tv_sec + static_cast<time_t>(ms / 1000);
    now->tv_usec = static_cast<suseconds_t>(real.tv_nsec / 1000);
    return 0;
}
