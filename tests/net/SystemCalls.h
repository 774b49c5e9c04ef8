/** @file System calls that are counted and that fail on demand: the test program's take the C library's place. */
#ifndef JAY_TESTS_NET_SYSTEMCALLS_H
#define JAY_TESTS_NET_SYSTEMCALLS_H

#include <cerrno>
#include <dlfcn.h>
#include <functional>
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <utility>

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
    static inline thread_local int lastBacklog = -1;
    static inline thread_local bool cancelledInAccept = false;  // accept4 is where the thread is cancelled
    static inline thread_local int lastWait = -2;               // the time-out given to poll
    static inline thread_local std::function<void()>* beforePoll = nullptr;  // what happens as a wait begins
};

/** Lets something happen each time the calling thread begins to wait in poll, until the end of the scope. */
class AsWaitsBegin {
public:
    explicit AsWaitsBegin(std::function<void()> event) : event_(std::move(event)) {
        Calls::beforePoll = &event_;
    }
    ~AsWaitsBegin() { Calls::beforePoll = nullptr; }
    AsWaitsBegin(const AsWaitsBegin&) = delete;
    AsWaitsBegin& operator=(const AsWaitsBegin&) = delete;

private:
    std::function<void()> event_;
};

template <class Function>
Function* theReal(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace net

#define JAY_STAND_IN extern "C" __attribute__((used, visibility("default"))) inline

JAY_STAND_IN int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    static auto* const real = net::theReal("accept4", &accept4);
    if (net::Calls::accept4.fails()) return -1;
    const int result = real(fd, address, size, flags);
    if (net::Calls::cancelledInAccept) {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    }
    return result;
}
JAY_STAND_IN int listen(int fd, int backlog) noexcept {
    static auto* const real = net::theReal("listen", &listen);
    net::Calls::lastBacklog = backlog;
    return net::Calls::listen.fails() ? -1 : real(fd, backlog);
}
JAY_STAND_IN int poll(pollfd* entries, nfds_t n, int ms) {
    static auto* const real = net::theReal("poll", &poll);
    net::Calls::lastWait = ms;
    if (net::Calls::beforePoll != nullptr) (*net::Calls::beforePoll)();
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
