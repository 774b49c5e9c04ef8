#include "net/detail/Descriptor.h"

#include <cerrno>
#include <ctime>
#include <sys/socket.h>
#include <unistd.h>

#include "thread/detail/CancelOff.h"

namespace jay::detail {

namespace {

/** Who closes because a call has failed wants that call's errno afterwards. */
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
    const CancelOff off;  // nobody else knows the number yet: it would be lost
    unsigned vacant = CLOSED;
    while (!word_.compare_exchange_strong(vacant, CLOSED | 1, std::memory_order_acq_rel)) {
        vacant = CLOSED;
        const timespec moment{0, 1000000};
        nanosleep(&moment, nullptr);
    }
    fd_ = fd;
    generation_++;
    word_.fetch_and(~CLOSED, std::memory_order_acq_rel);
    leave();
}

int Descriptor::enter() {
    if ((word_.fetch_add(1, std::memory_order_acq_rel) & CLOSED) == 0) return fd_;
    leave();
    return -1;
}

void Descriptor::leave() {
    if (word_.fetch_sub(1, std::memory_order_acq_rel) != (CLOSED | HELD | 1)) return;
    // The last user. Somebody who only looked in may be the last one too: the exchange lets one of them
    // through, and makes it a user again, so that no new number is attached before the old one is released.
    unsigned unused = CLOSED | HELD;
    if (!word_.compare_exchange_strong(unused, CLOSED | 1, std::memory_order_acq_rel)) return;
    release();
    word_.fetch_sub(1, std::memory_order_acq_rel);
}

/** Gives the number back to the system. */
void Descriptor::release() const {
    const CancelOff off;
    const KeptErrno kept;
    ::close(fd_);
}

bool Descriptor::close() {
    unsigned word = word_.load(std::memory_order_acquire);
    do {
        if ((word & CLOSED) != 0) return false;
    } while (!word_.compare_exchange_weak(word, (word + 1) | CLOSED | HELD, std::memory_order_acq_rel));
    if (word != 0) {
        const KeptErrno kept;
        ::shutdown(fd_, SHUT_RD);
    }
    leave();
    return true;
}

void Descriptor::wake() {
    const Use use(*this);
    if (use.fd() >= 0) ::shutdown(use.fd(), SHUT_RD);
}

}  // namespace jay::detail
