#include <algorithm>
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
using jay::detail::Readiness;

namespace {

constexpr int WINDOW_SIZE = 8192;
constexpr int READ_AHEAD_STEP = 10240;
constexpr int READ_AHEAD_CHUNK = 1024;
constexpr int SPURIOUS_WAKE_PAUSE_MS = 1000;

/** The bytes of `b` that a range covers; below 1 when it covers none or begins before the block. */
int rangeLength(const JByte& b, int off, int len) {
    if (off < 0 || off > b.size()) return -1;
    return std::min(len, b.size() - off);
}

bool isTransient(int error) {
    return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

/**
 * A system call that is tried before the wait fails with EAGAIN where a wait would have come first. That
 * errno is an accident of the order and is taken back: accept() on the same thread looks at errno as it
 * stands.
 */
class SavedErrno {
public:
    SavedErrno() : value_(errno) {}
    void restore() const { errno = value_; }

private:
    int value_;
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
    openWindow(use.generation());
    int waiting = 0;
    if (ioctl(use.fd(), FIONREAD, &waiting) != 0) waiting = 0;
    return waiting + (windowEnd - windowStart) + buffered;
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

    const Descriptor::Use use(*socket->descriptor);
    if (use.fd() < 0) return fail(-1);
    openWindow(use.generation());
    const SavedErrno before;
    int got = 0;
    int seconds = socket->readTimeout;
    bool waited = false;
    for (;;) {
        socket->readTimedOut = false;
        const long r = receive(use.fd(), to + got, n - got);
        if (r > 0) {
            got += static_cast<int>(r);
            if (got >= n) return got;
            seconds = 0;  // from now on only what comes within one slice
            waited = false;
            continue;
        }
        if (!socket->descriptor->isOpen()) return fail(-1);
        const bool ended = r == 0 && !socket->woken;
        if (ended) return got > 0 ? got : fail(0);
        if (r < 0 && !isTransient(errno)) return fail(-1);
        before.restore();
        if (r < 0 && waited) JSystem::sleep(SPURIOUS_WAKE_PAUSE_MS);  // readable, and yet there was nothing

        const Readiness readiness =
            r == 0 ? Readiness::TIMED_OUT : socket->waitFor(use.fd(), POLLIN, seconds, INT_MAX);
        if (readiness == Readiness::FAILED) return fail(-1);
        if (readiness == Readiness::TIMED_OUT) {
            if (got > 0) return got;
            errno = ETIMEDOUT;
            socket->readTimedOut = true;
            return -1;
        }
        waited = true;
    }
}

/** Closes the socket after a failure or the end of the stream. */
int JSocket::JSocketInputStream::fail(int result) {
    close();
    return result;
}

/** recv() through the window: up to `n` bytes, 0 at the end of the stream, -1 with errno. Never blocks. */
long JSocket::JSocketInputStream::receive(int number, char* to, int n) {
    if (windowStart == windowEnd) {
        if (n >= WINDOW_SIZE) return recv(number, to, static_cast<size_t>(n), MSG_DONTWAIT);
        if (window == nullptr) window.reset(new char[WINDOW_SIZE]);
        const long r = recv(number, window.get(), WINDOW_SIZE, MSG_DONTWAIT);
        if (r <= 0) return r;
        windowStart = 0;
        windowEnd = static_cast<int>(r);
    }
    const int k = std::min(n, windowEnd - windowStart);
    std::memcpy(to, window.get() + windowStart, static_cast<size_t>(k));
    windowStart += k;
    return k;
}

/** What a former connection brought is not the next one's. */
void JSocket::JSocketInputStream::openWindow(unsigned generation) {
    if (windowGeneration == generation) return;
    windowGeneration = generation;
    windowStart = 0;
    windowEnd = 0;
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
    if (n <= 0) return 0;
    const char* const from = static_cast<const char*>(b) + off;

    const Descriptor::Use use(*socket->descriptor);
    const SavedErrno before;
    int sent = 0;
    bool waited = false;
    for (;;) {
        socket->writeTimedOut = false;
        const long s =
            send(use.fd(), from + sent, static_cast<size_t>(n - sent), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (s > 0) {
            sent += static_cast<int>(s);
            if (sent >= n) return 0;
            waited = false;
            continue;
        }
        if (!isTransient(errno)) {
            close();
            return -1;
        }
        before.restore();
        if (waited) JSystem::sleep(SPURIOUS_WAKE_PAUSE_MS);  // writable, and yet nothing was taken

        switch (socket->waitFor(use.fd(), POLLOUT, socket->writeTimeout, jay::detail::SLICE_MS)) {
            case Readiness::READY:
                waited = true;
                break;
            case Readiness::FAILED:
                close();
                return -1;
            case Readiness::TIMED_OUT:
                errno = ETIMEDOUT;
                socket->writeTimedOut = true;
                return -1;
        }
    }
}
