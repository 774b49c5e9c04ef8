/** @file What tests of the console output need: standard error led elsewhere. */
#ifndef JAY_TESTS_SUPPORT_STDERR_H
#define JAY_TESTS_SUPPORT_STDERR_H

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace support {

/** Leads standard error into a descriptor pair for the length of a scope; the test reads what arrives at the
 * other end. */
class RedirectedStderr {
public:
    RedirectedStderr(const RedirectedStderr&) = delete;
    RedirectedStderr& operator=(const RedirectedStderr&) = delete;

    /** Back to the real standard error. */
    void restore() {
        if (real_ < 0) return;
        std::fflush(stderr);
        dup2(real_, STDERR_FILENO);
        close(real_);
        real_ = -1;
    }

protected:
    RedirectedStderr() = default;
    ~RedirectedStderr() {
        restore();
        if (in_ >= 0) close(in_);
    }

    void redirect(int in, int out) {
        std::fflush(stderr);
        real_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
        in_ = in;
        dup2(out, STDERR_FILENO);
        close(out);
    }

    /** What arrived with one read; empty when nothing did. Does not block. */
    std::string readOnce() {
        char buffer[65536];
        const ssize_t got = ::read(in_, buffer, sizeof buffer);
        return got > 0 ? std::string(buffer, static_cast<size_t>(got)) : std::string();
    }

private:
    int real_ = -1;
    int in_ = -1;
};

/** Standard error as a pipe. */
class StderrPipe : public RedirectedStderr {
public:
    StderrPipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) std::abort();
        redirect(ends[0], ends[1]);
        setBlocking(true);
    }

    /** What was written since the last call. */
    std::string text() {
        std::string all;
        for (std::string some = readOnce(); !some.empty(); some = readOnce()) all += some;
        return all;
    }

    /** Fills the pipe, so that the next write blocks. */
    void fill() {
        setBlocking(false);
        while (write(STDERR_FILENO, "#", 1) == 1) {
        }
        setBlocking(true);
    }

private:
    static void setBlocking(bool on) {
        const int flags = fcntl(STDERR_FILENO, F_GETFL);
        fcntl(STDERR_FILENO, F_SETFL, on ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
    }
};

/** Standard error as a socket that keeps the bounds between writes. */
class StderrWrites : public RedirectedStderr {
public:
    StderrWrites() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        redirect(ends[0], ends[1]);
    }

    /** What each write since the last call has written. */
    std::vector<std::string> writes() {
        std::vector<std::string> all;
        for (std::string one = readOnce(); !one.empty(); one = readOnce()) all.push_back(one);
        return all;
    }
};

}  // namespace support

#endif
