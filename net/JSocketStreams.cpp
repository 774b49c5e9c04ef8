#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "net/detail/Descriptor.h"
#include "net/detail/Wait.h"
#include "net/JSocket.h"
#include "system/JSystem.h"

using jay::detail::Descriptor;
using jay::detail::isTransient;
using jay::detail::Readiness;
using jay::detail::waitFor;

namespace {

constexpr int READ_AHEAD_STEP = 10240;
constexpr int READ_AHEAD_CHUNK = 1024;
constexpr int SPURIOUS_WAKE_PAUSE_MS = 1000;

/** The bytes of `b` that a range covers; below 1 when it covers none or begins before the block. */
int rangeLength(const JByte& b, int off, int len) {
    if (off < 0 || off > b.size()) return -1;
    return std::min(len, b.size() - off);
}

/** How one transfer went, if it brought no bytes. */
enum : long { END = 0, FAILED = -1, TIMED_OUT = -2 };

/** Most of the time there is nothing to clear, and a store that others must see costs more than a look. */
void clear(std::atomic<bool>& flag) {
    if (flag) flag = false;
}

long outcomeOf(Readiness readiness) {
    return readiness == Readiness::FAILED ? FAILED : TIMED_OUT;
}

/**
 * A system call that is tried before the wait fails with EAGAIN where a wait would have come first. That
 * errno is an accident of the order and is taken back: accept() on the same thread looks at errno as it
 * stands.
 */
class TriedFirst {
public:
    TriedFirst() : errno_(errno) {}
    void forget() const { errno = errno_; }

private:
    int errno_;
};

}  // namespace

// ---- input ----

JSocket::JSocketInputStream::JSocketInputStream(JSocket* owner) : socket(owner) {
}

JSocket::JSocketInputStream::~JSocketInputStream() {
    delete buffer;
}

int JSocket::JSocketInputStream::available() {
    const Descriptor::Use use(*socket->descriptor);
    if (use.fd() < 0) return buffered;
    openWindow();
    int waiting = 0;
    if (ioctl(use.fd(), FIONREAD, &waiting) != 0) waiting = 0;
    return waiting + held() + buffered;
}

int JSocket::JSocketInputStream::close() {
    return socket->close();
}

int JSocket::JSocketInputStream::read() {
    JByte one(1);
    if (read(one, 0, 1) < 1) return -1;
    return static_cast<unsigned char>(one[0]);
}

int JSocket::JSocketInputStream::read(JByte& b) {
    return read(b, 0, b.size());
}

int JSocket::JSocketInputStream::read(JByte& b, int off, int len) {
    return read(b, off, len, false);
}

int JSocket::JSocketInputStream::read(JByte& b, int off, int len, bool raw) {
    const int n = rangeLength(b, off, len);
    if (n < 1) return -1;
    char* const to = static_cast<char*>(b) + off;
    if (!raw && buffered > 0) return takeBuffered(to, n);

    return readInto(to, n);
}

int JSocket::JSocketInputStream::readInto(char* to, int n) {
    if (n < 1) return -1;
    clear(socket->readTimedOut);
    const Descriptor::Use use(*socket->descriptor);
    if (use.fd() < 0) return socket->noConnection();
    openWindow();
    int got = 0;
    do {
        // After the first bytes only what comes within one slice of a wait.
        const long r = receiveSome(use.fd(), to + got, n - got, got == 0 ? socket->readTimeout : 0);
        if (r <= 0) return finish(r, got);
        got += static_cast<int>(r);
    } while (got < n);
    return got;
}

/** The result of a read that ends early, with `got` bytes. */
int JSocket::JSocketInputStream::finish(long outcome, int got) {
    if (got > 0 && outcome != FAILED) return got;
    if (outcome == TIMED_OUT) {
        errno = ETIMEDOUT;
        socket->readTimedOut = true;
        return -1;
    }
    close();
    return outcome == END ? 0 : -1;
}

/** Takes bytes out of the window, receiving before that if it is empty: bytes, END, FAILED or TIMED_OUT. */
long JSocket::JSocketInputStream::receiveSome(int number, char* to, int n, int seconds) {
    if (held() == 0) {
        if (n >= WINDOW_SIZE) return transfer(number, to, n, seconds * 1000LL);
        const long r = fillWindow(number, seconds * 1000LL);
        if (r <= 0) return r;
    }
    const int k = std::min(n, held());
    std::memcpy(to, window.get() + windowStart, static_cast<size_t>(k));
    windowStart += k;
    return k;
}

/** Receives behind what the window holds, for which there is room: bytes, END, FAILED or TIMED_OUT. */
long JSocket::JSocketInputStream::fillWindow(int number, long long ms) {
    if (window == nullptr) window.reset(new char[WINDOW_SIZE]);
    if (held() > 0 && windowStart > 0)
        std::memmove(window.get(), window.get() + windowStart, static_cast<size_t>(held()));
    windowEnd = held();
    windowStart = 0;
    const long r = transfer(number, window.get() + windowEnd, WINDOW_SIZE - windowEnd, ms);
    if (r > 0) windowEnd += static_cast<int>(r);
    return r;
}

/** Receives once, waiting for `ms` milliseconds if there is nothing: bytes, END, FAILED or TIMED_OUT. */
long JSocket::JSocketInputStream::transfer(int number, char* to, int n, long long ms) {
    const TriedFirst attempt;
    for (;;) {
        if (quiet) {
            const Readiness readiness = waitFor(number, POLLIN, ms, INT_MAX, socket->descriptor.get());
            if (readiness != Readiness::READY) return outcomeOf(readiness);
        }
        const long r = recv(number, to, static_cast<size_t>(n), MSG_DONTWAIT);
        if (r > 0) {
            quiet = quiet && r < n;  // as much as there was room for: probably there is more
            return r;
        }
        if (!socket->descriptor->isOpen()) return FAILED;
        if (r == 0) return socket->descriptor->isWoken() ? TIMED_OUT : END;
        if (!isTransient(errno)) return FAILED;
        attempt.forget();
        if (quiet) JSystem::sleep(SPURIOUS_WAKE_PAUSE_MS);  // readable, and yet there was nothing
        quiet = true;
    }
}

/** What a former connection brought is not the next one's. */
void JSocket::JSocketInputStream::openWindow() {
    const unsigned generation = socket->descriptor->generation();
    if (windowGeneration == generation) return;
    windowGeneration = generation;
    windowStart = 0;
    windowEnd = 0;
    quiet = false;
}

/** How many bytes the window holds. */
int JSocket::JSocketInputStream::held() const {
    return windowEnd - windowStart;
}

int JSocket::JSocketInputStream::takeBuffered(char* to, int n) {
    const int k = std::min(buffered, n);
    char* const data = *buffer;
    std::memcpy(to, data, static_cast<size_t>(k));
    std::memmove(data, data + k, static_cast<size_t>(buffered - k));
    buffered -= k;
    return k;
}

int JSocket::JSocketInputStream::readBuffer() {
    if (buffer == nullptr) {
        buffer = new JByte(READ_AHEAD_STEP);
        capacity = READ_AHEAD_STEP;
        buffered = 0;
    }
    if (buffered + READ_AHEAD_CHUNK >= capacity) {
        auto* larger = new JByte(capacity + READ_AHEAD_STEP);
        std::memcpy(static_cast<char*>(*larger), static_cast<char*>(*buffer), static_cast<size_t>(buffered));
        delete buffer;
        buffer = larger;
        capacity += READ_AHEAD_STEP;
    }
    const int r = read(*buffer, buffered, READ_AHEAD_CHUNK, true);
    if (r < 1) return r;
    buffered += r;
    return buffered;
}

long JSocket::JSocketInputStream::skip(long) {
    return 0;
}

// ---- input: messages ----

const char* JSocket::JSocketInputStream::received(int n) {
    const Descriptor& guard = *socket->descriptor;
    const bool complete = n <= held() && windowGeneration == guard.generation() && guard.isOpen();
    return complete ? window.get() + windowStart : nullptr;
}

const char* JSocket::JSocketInputStream::await(int n) {
    assert(n >= 1 && n <= WINDOW_SIZE);
    clear(socket->readTimedOut);
    const Descriptor::Use use(*socket->descriptor);
    if (use.fd() < 0) {
        socket->noConnection();
        return nullptr;
    }
    openWindow();
    while (held() < n) {
        // A read that has begun gives the rest a slice of time, and then the whole time anew.
        const long long ms = socket->readTimeout * 1000LL + (held() > 0 ? jay::detail::SLICE_MS : 0);
        const long r = fillWindow(use.fd(), ms);
        if (r > 0) continue;
        finish(r, 0);
        windowStart = windowEnd;
        return nullptr;
    }
    return window.get() + windowStart;
}

void JSocket::JSocketInputStream::consume(int n) {
    assert(n >= 0 && n <= held());
    windowStart += n;
}

// ---- output ----

JSocket::JSocketOutputStream::JSocketOutputStream(JSocket* owner) : socket(owner) {
}

int JSocket::JSocketOutputStream::close() {
    return socket->close();
}

int JSocket::JSocketOutputStream::flush() {
    return 0;
}

int JSocket::JSocketOutputStream::write(int c) {
    JByte one(1);
    *static_cast<char*>(one) = static_cast<char>(c);
    return write(one, 0, 1);
}

int JSocket::JSocketOutputStream::write(JByte& b) {
    return write(b, 0, b.size());
}

int JSocket::JSocketOutputStream::write(JByte& b, int off, int len) {
    const int n = rangeLength(b, off, len);
    return n > 0 ? writeFrom(static_cast<const char*>(b) + off, n) : 0;
}

int JSocket::JSocketOutputStream::writeFrom(const char* from, int n) {
    if (n <= 0) return 0;
    clear(socket->writeTimedOut);
    const Descriptor::Use use(*socket->descriptor);
    if (use.fd() < 0) return socket->noConnection();
    for (int sent = 0; sent < n;) {
        const long s = sendSome(use.fd(), from + sent, n - sent);
        if (s < 0) return finish(s);
        sent += static_cast<int>(s);
    }
    return 0;
}

int JSocket::JSocketOutputStream::offer(const char* from, int n) {
    if (n <= 0) return 0;
    const Descriptor::Use use(*socket->descriptor);
    if (use.fd() < 0) return 0;
    const TriedFirst attempt;
    const long s = send(use.fd(), from, static_cast<size_t>(n), MSG_NOSIGNAL | MSG_DONTWAIT);
    attempt.forget();
    return s > 0 ? static_cast<int>(s) : 0;
}

/** The result of a write that ends early. */
int JSocket::JSocketOutputStream::finish(long outcome) {
    if (outcome == FAILED) {
        close();
    } else {
        errno = ETIMEDOUT;
        socket->writeTimedOut = true;
    }
    return -1;
}

/** Sends once, waiting before that if nothing is taken: bytes, FAILED or TIMED_OUT. */
long JSocket::JSocketOutputStream::sendSome(int number, const char* from, int n) {
    const TriedFirst attempt;
    for (bool waited = false;; waited = true) {
        const long s = send(number, from, static_cast<size_t>(n), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (s > 0) return s;
        if (!isTransient(errno)) return FAILED;
        attempt.forget();
        if (waited) JSystem::sleep(SPURIOUS_WAKE_PAUSE_MS);  // writable, and yet nothing was taken
        const Readiness readiness = waitFor(number, POLLOUT, socket->writeTimeout * 1000LL,
                                            jay::detail::SLICE_MS, socket->descriptor.get());
        if (readiness != Readiness::READY) return outcomeOf(readiness);
    }
}
