#include <sys/select.h>
#include <sys/time.h>

#include "system/JSystem.h"

namespace {

int sleepFor(int seconds, int microseconds) {
    timeval timeout;
    timeout.tv_sec = seconds;
    timeout.tv_usec = microseconds;
    return select(0, nullptr, nullptr, nullptr, &timeout);
}

}  // namespace

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
