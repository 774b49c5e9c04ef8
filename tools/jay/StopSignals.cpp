#include "tools/jay/StopSignals.h"

#include <cerrno>
#include <cstdint>
#include <initializer_list>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// What the signal handler touches.
volatile sig_atomic_t lastSignal = 0;
int wakeUpFd = -1;

void note(int number) {
    const int before = errno;
    lastSignal = number;
    const std::uint64_t one = 1;
    // Fails only when the descriptor is readable already. It stays so: nobody reads it.
    const ssize_t ignored = write(wakeUpFd, &one, sizeof one);
    static_cast<void>(ignored);
    errno = before;
}

}  // namespace

void StopSignals::watch() {
    if (wakeUpFd < 0) wakeUpFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    struct sigaction action {};
    action.sa_handler = note;
    sigemptyset(&action.sa_mask);  // and no SA_RESTART: a write to a pipe that nobody reads ends, too
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
}

int StopSignals::last() {
    return lastSignal;
}

int StopSignals::descriptor() {
    return wakeUpFd;
}

StopSignals::Wait StopSignals::wait(int descriptor, short what, int ms) {
    pollfd entries[] = {{descriptor, what, 0}, {wakeUpFd, POLLIN, 0}};  // poll() ignores a descriptor of -1
    const int ready = poll(entries, 2, ms);
    if (ready > 0 && entries[0].revents != 0) return READY;
    return last() != 0 ? STOPPED : TIME_UP;
}
