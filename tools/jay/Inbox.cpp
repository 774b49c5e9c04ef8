#include "tools/jay/Inbox.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "system/JSystem.h"

namespace {

// What a signal handler may touch.
volatile sig_atomic_t stopped = 0;
int wakeUpFd = -1;

constexpr int FOR_EVER = -1;

/** Ends the wait of the main thread, or its next one. */
void wakeUp() {
    const int before = errno;
    const std::uint64_t one = 1;
    const ssize_t ignored =
        write(wakeUpFd, &one, sizeof one);  // fails only when a wake-up is pending already
    static_cast<void>(ignored);
    errno = before;
}

void forgetWakeUps() {
    std::uint64_t count = 0;
    const ssize_t ignored = read(wakeUpFd, &count, sizeof count);
    static_cast<void>(ignored);
}

}  // namespace

Inbox& Inbox::get() {
    static auto* inbox = new Inbox;  // never destroyed: the client's thread may outlive static objects
    return *inbox;
}

Inbox::Inbox() {
    wakeUpFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

void Inbox::attach(CA& client, int id) {
    const std::lock_guard<std::mutex> guard(mutex_);
    ids_[&client] = id;
    client.setEventCallback(receive);
}

/** Runs on the client's thread after each message, so that there is just one to take. */
void Inbox::receive(CA* client) {
    Arrival arrival;
    arrival.message.reset(client->get());
    arrival.time = JSystem::getMilliseconds();
    arrival.moment = std::chrono::steady_clock::now();
    if (arrival.message == nullptr) return;
    Inbox& inbox = get();
    bool first = false;
    {
        const std::lock_guard<std::mutex> guard(inbox.mutex_);
        arrival.client = inbox.ids_[client];
        first = inbox.arrivals_.empty();
        inbox.arrivals_.push_back(std::move(arrival));
    }
    if (first) wakeUp();  // whoever waits has found nothing to take before
}

bool Inbox::take(Arrival& arrival) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (arrivals_.empty()) return false;
    arrival = std::move(arrivals_.front());
    arrivals_.pop_front();
    return true;
}

void Inbox::noteSignals() {
    struct sigaction action {};
    action.sa_handler = note;
    sigemptyset(&action.sa_mask);  // and no SA_RESTART: a write to a pipe that nobody reads ends, too
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
}

void Inbox::note(int) {
    stopped = 1;
    wakeUp();
}

bool Inbox::isStopped() const {
    return stopped != 0;
}

bool Inbox::wait(int ms, int output) {
    pollfd entries[] = {{wakeUpFd, POLLIN, 0}, {output, 0, 0}};  // errors are reported unasked
    if (poll(entries, 2, ms) <= 0) return true;
    if (entries[0].revents != 0) forgetWakeUps();
    return (entries[1].revents & (POLLERR | POLLHUP)) == 0;
}

bool Inbox::waitForRoom(int output) {
    for (;;) {
        const bool ending = isStopped();
        if (waitFor(output, POLLOUT, ending ? 0 : FOR_EVER)) return true;
        if (ending) return false;
    }
}

bool Inbox::waitForInput(int input, int ms) {
    return !isStopped() && waitFor(input, POLLIN, ms);
}

/** False when the time is up, or something else has come. */
bool Inbox::waitFor(int descriptor, short what, int ms) {
    pollfd entries[] = {{wakeUpFd, POLLIN, 0}, {descriptor, what, 0}};
    if (poll(entries, 2, ms) <= 0) return false;
    if (entries[1].revents != 0) return true;
    forgetWakeUps();  // a message: it is looked for before the next wait
    return false;
}
