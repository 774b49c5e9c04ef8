#include "tools/jay/Mailbox.h"

#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

#include "system/JSystem.h"

Mailbox& Mailbox::get() {
    static auto* mailbox = new Mailbox;  // never destroyed: the client's thread may outlive static objects
    return *mailbox;
}

Mailbox::Mailbox() : fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
}

void Mailbox::attach(CA& client, int id) {
    const std::lock_guard<std::mutex> guard(mutex_);
    ids_[&client] = id;
    client.setEventCallback(receive);
}

/** Runs on the client's thread after each message, so that there is just one to take. */
void Mailbox::receive(CA* client) {
    Arrival arrival;
    arrival.message.reset(client->get());
    arrival.time = JSystem::getMilliseconds();
    arrival.moment = std::chrono::steady_clock::now();
    if (arrival.message != nullptr) get().put(client, std::move(arrival));
}

void Mailbox::put(CA* client, Arrival arrival) {
    const std::lock_guard<std::mutex> guard(mutex_);
    arrival.client = ids_[client];
    arrivals_.push_back(std::move(arrival));
    if (arrivals_.size() > 1) return;
    const std::uint64_t one = 1;
    const ssize_t ignored = write(fd_, &one, sizeof one);  // cannot fail: the count was 0
    static_cast<void>(ignored);
}

bool Mailbox::take(Arrival& arrival) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (arrivals_.empty()) return false;
    arrival = std::move(arrivals_.front());
    arrivals_.pop_front();
    if (arrivals_.empty()) {
        std::uint64_t count = 0;
        const ssize_t ignored = read(fd_, &count, sizeof count);
        static_cast<void>(ignored);
    }
    return true;
}
