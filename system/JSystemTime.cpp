#include <sys/time.h>

#include "system/JSystem.h"
#include "thread/detail/Sleep.h"

using jay::detail::sleepFor;

long long JSystem::getMilliseconds() {
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

int JSystem::sleep(int ms) {
    return sleepFor(ms / 1000, (ms % 1000) * 1000);
}

int JSystem::usleep(int us) {
    return sleepFor(us / 1000000, us % 1000000);
}
