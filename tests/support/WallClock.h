/** @file The time of day as the test wants it. */
#ifndef JAY_TESTS_SUPPORT_WALLCLOCK_H
#define JAY_TESTS_SUPPORT_WALLCLOCK_H

namespace support {

/** Sets the time of day that this process sees forward or back for the length of a scope. The steady clock goes on as it is. */
class WallClock {
public:
    /** @param ms by how much the clock differs from the system's. */
    explicit WallClock(long long ms) { set(ms); }
    ~WallClock() { set(0); }
    WallClock(const WallClock&) = delete;
    WallClock& operator=(const WallClock&) = delete;

    static void set(long long ms);
};

constexpr long long AN_HOUR_MS = 3600000;

}  // namespace support

#endif
