/** @file What tests give threads to do, and how they watch them do it. */
#ifndef JAY_TESTS_THREAD_JOB_H
#define JAY_TESTS_THREAD_JOB_H

#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "support/Thread.h"
#include "thread/JEvent.h"
#include "thread/JRunnable.h"
#include "thread/JThread.h"

/** Whether a thread, named as the kernel does, sleeps in a system call right now. */
inline bool isAsleep(int thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", thread);
    std::FILE* const in = thread == 0 ? nullptr : std::fopen(path, "re");
    if (in == nullptr) return false;
    char text[1024];
    text[std::fread(text, 1, sizeof text - 1, in)] = '\0';
    std::fclose(in);
    const char* const state = std::strstr(text, ") ");
    return state != nullptr && state[2] == 'S';
}

/** A target that runs a function and remembers how that ended. */
class Job : public JRunnable {
public:
    explicit Job(std::function<void()> body = [] {}) : body_(std::move(body)) {}
    ~Job() override {
        if (deletions != nullptr) ++*deletions;
    }

    void run() override {
        id_ = static_cast<int>(syscall(SYS_gettid));
        ++runs;
        const Unwinding unwinding{*this};
        body_();
        ++returns;
    }

    /** Waits until the body sleeps in a system call. */
    bool fallsAsleep() const {
        return support::eventually([this] { return isAsleep(id_); });
    }

    std::atomic<int> runs{0};
    std::atomic<int> returns{0};
    std::atomic<int> ends{0};  // returned or unwound
    std::atomic<int>* deletions = nullptr;

private:
    struct Unwinding {
        Job& job;
        ~Unwinding() { ++job.ends; }
    };

    std::function<void()> body_;
    std::atomic<int> id_{0};
};

/** A thread that runs a function; started at once. */
class Running {
public:
    explicit Running(std::function<void()> body) : job(std::move(body)), thread(new JThread(&job)) {
        thread->start();
    }
    ~Running() { delete thread; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    /** Destroys the thread object now. */
    void destroy() {
        delete thread;
        thread = nullptr;
    }

    Job job;
    JThread* thread;
};

#endif
