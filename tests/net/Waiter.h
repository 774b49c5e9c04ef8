/** @file A thread that waits in a call of the library while the test does something to it. */
#ifndef JAY_TESTS_NET_WAITER_H
#define JAY_TESTS_NET_WAITER_H

#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>

#include "support/Thread.h"
#include "thread/JThread.h"

namespace net {

/** Makes one call in a thread of its own and keeps its result. */
class Waiter {
public:
    explicit Waiter(const std::function<int()>& call)
        : thread([this, call] {
              JThread::currentThread();  // so that a signal handler finds it made
              errno = 0;
              result = call();
              error = errno;
          }) {}

    /** Waits until the call waits. */
    bool waits() const { return thread.fallsAsleep(); }

    /** Cuts a system call of the thread short. */
    void hangUp() const { pthread_kill(thread.handle(), SIGHUP); }

    /** Has it cut short a few times, each time that it waits again. */
    bool hangUpRepeatedly() const {
        for (int i = 0; i < 3; i++) {
            if (!waits()) return false;
            hangUp();
        }
        return waits();
    }

    /** Has it interrupt itself, as only a thread itself can, in the middle of its call. */
    void interrupt() const {
        struct sigaction action {};
        action.sa_handler = [](int) { JThread::interrupt(); };
        sigaction(SIGUSR1, &action, nullptr);
        pthread_kill(thread.handle(), SIGUSR1);
    }

    std::atomic<int> result{-99};
    std::atomic<int> error{0};
    support::Thread thread;
};

}  // namespace net

#endif
