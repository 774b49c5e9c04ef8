#include "net/detail/Descriptor.h"

#include <cassert>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

#include "thread/detail/CancelOff.h"

namespace jay::detail {

namespace {

/** Keeps errno: a thread that closes because a call has failed looks at that call's errno afterwards. */
class KeptErrno {
public:
    KeptErrno() : errno_(errno) {}
    ~KeptErrno() { errno = errno_; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

private:
    int errno_;
};

}  // namespace

Descriptor::~Descriptor() {
    close();
}

void Descriptor::attach(int fd) {
    const CancelOff off;  // the number would be lost
    std::unique_lock<std::mutex> lock(mutex_);
    released_.wait(lock, [this] { return !held_; });
    assert(word_ == CLOSED);
    held_ = true;
    fd_ = fd;
    generation_++;
    woken_ = false;
    word_.store(1, std::memory_order_release);
}

int Descriptor::enter() {
    unsigned word = word_.load(std::memory_order_acquire);
    do {
        if ((word & CLOSED) != 0) return -1;
    } while (!word_.compare_exchange_weak(word, word + 1, std::memory_order_acq_rel));
    return fd_;
}

void Descriptor::leave() {
    const unsigned before = word_.fetch_sub(1, std::memory_order_acq_rel);
    assert((before & ~CLOSED) != 0);
    if (before == (CLOSED | 1)) release();
}

/** Gives the number back to the system. */
void Descriptor::release() {
    const CancelOff off;
    const KeptErrno kept;
    ::close(fd_);
    const std::lock_guard<std::mutex> lock(mutex_);
    held_ = false;
    released_.notify_all();
}

bool Descriptor::close() {
    const unsigned before = word_.fetch_or(CLOSED, std::memory_order_acq_rel);
    if ((before & CLOSED) != 0) return false;
    if (before > 1) {
        const KeptErrno kept;
        ::shutdown(fd_, SHUT_RD);
    }
    leave();
    return true;
}

void Descriptor::wake() {
    const Use use(*this);
    if (use.fd() < 0) return;
    woken_ = true;  // first: the reader looks at it as soon as it is woken
    ::shutdown(use.fd(), SHUT_RD);
}

}  // namespace jay::detail
