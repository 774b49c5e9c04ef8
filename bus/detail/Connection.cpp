#include "bus/detail/Connection.h"

#include <cstdio>
#include <memory>

#include "net/JSocket.h"
#include "thread/detail/ScopedLock.h"

namespace jay::detail {

Connection::~Connection() {
    delete socket_.load();
}

bool Connection::replace(JSocket* socket) {
    std::unique_ptr<JSocket> former;  // destroyed when the lock is free
    const ScopedLock guard(lock_);
    if (lent_) return false;
    former.reset(socket_.exchange(socket));
    retired_ = false;
    return true;
}

Connection::Removal Connection::remove() {
    std::unique_ptr<JSocket> former;
    const ScopedLock guard(lock_);
    if (socket_ == nullptr) return NOTHING_THERE;
    if (lent_) return STILL_BORROWED;
    former.reset(socket_.exchange(nullptr));
    return REMOVED;
}

JSocket* Connection::release() {
    const ScopedLock guard(lock_);
    return socket_.exchange(nullptr);
}

JSocket* Connection::borrow() {
    const ScopedLock guard(lock_);
    JSocket* const socket = socket_;
    lent_ = socket != nullptr;
    return socket;
}

void Connection::giveBack() {
    const ScopedLock guard(lock_);
    lent_ = false;
}

void Connection::close() {
    const ScopedLock guard(lock_);
    if (JSocket* const socket = socket_) socket->close();
}

void Connection::retire() {
    const ScopedLock guard(lock_);
    JSocket* const socket = socket_;
    if (socket != nullptr && !retired_.exchange(true)) socket->shutdownInput();
}

void Connection::wakeUp() {
    const ScopedLock guard(lock_);
    if (JSocket* const socket = socket_) socket->wakeUp();
}

bool Connection::getAddress(char* host, int size, int& port) {
    const ScopedLock guard(lock_);
    JSocket* const socket = socket_;
    if (socket == nullptr || !socket->isConnected()) return false;
    std::snprintf(host, static_cast<std::size_t>(size), "%s", socket->getHost());
    port = socket->getPort();
    return true;
}

}  // namespace jay::detail
