/** @file System calls that are counted and that fail on demand: the test program's take the C library's place. */
#ifndef JAY_TESTS_NET_SYSTEMCALLS_H
#define JAY_TESTS_NET_SYSTEMCALLS_H

#include <cerrno>
#include <dlfcn.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>

namespace net {

/** One system call as the calling thread sees it. */
struct Call {
    int count;     // calls so far
    int failures;  // calls that are still to fail,
    int error;     // with this errno

    void fail(int times, int with) {
        failures = times;
        error = with;
    }
    bool fails() {
        count++;
        if (failures == 0) return false;
        failures--;
        errno = error;
        return true;
    }
};

struct Calls {
    static inline thread_local Call accept4{}, listen{}, poll{}, recv{}, select{}, send{};
};

template <class Function>
Function* theReal(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace net

#define JAY_STAND_IN extern "C" __attribute__((used, visibility("default"))) inline

JAY_STAND_IN int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    static auto* const real = net::theReal("accept4", &accept4);
    return net::Calls::accept4.fails() ? -1 : real(fd, address, size, flags);
}
JAY_STAND_IN int listen(int fd, int backlog) noexcept {
    static auto* const real = net::theReal("listen", &listen);
    return net::Calls::listen.fails() ? -1 : real(fd, backlog);
}
JAY_STAND_IN int poll(pollfd* entries, nfds_t n, int ms) {
    static auto* const real = net::theReal("poll", &poll);
    return net::Calls::poll.fails() ? -1 : real(entries, n, ms);
}
JAY_STAND_IN ssize_t recv(int fd, void* data, size_t n, int flags) {
    static auto* const real = net::theReal("recv", &recv);
    return net::Calls::recv.fails() ? -1 : real(fd, data, n, flags);
}
JAY_STAND_IN int select(int n, fd_set* in, fd_set* out, fd_set* except, timeval* timeout) {
    static auto* const real = net::theReal("select", &select);
    return net::Calls::select.fails() ? -1 : real(n, in, out, except, timeout);
}
JAY_STAND_IN ssize_t send(int fd, const void* data, size_t n, int flags) {
    static auto* const real = net::theReal("send", &send);
    return net::Calls::send.fails() ? -1 : real(fd, data, n, flags);
}

#undef JAY_STAND_IN

#endif
