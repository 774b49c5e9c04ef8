/** @file What tests of threads need: waiting with a limit, and threads that can be watched and cancelled. */
#ifndef JAY_TESTS_SUPPORT_THREAD_H
#define JAY_TESTS_SUPPORT_THREAD_H

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace support {

/** Waits until the condition holds; false when it still does not after a time far beyond any reasonable
 * delay. */
inline bool eventually(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        const timespec pause = {0, 1000000};
        nanosleep(&pause, nullptr);
    }
    return true;
}

/** A POSIX thread that runs a function; joined at the latest when it goes out of scope. */
class Thread {
public:
    explicit Thread(std::function<void()> body) : body_(std::move(body)) {
        created_ = pthread_create(&handle_, nullptr, run, this) == 0;
    }
    ~Thread() { join(); }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    pthread_t handle() const { return handle_; }
    void cancel() { pthread_cancel(handle_); }

    /** Returns whether the thread was cancelled before its function had returned. */
    bool join() {
        void* result = nullptr;
        if (created_) pthread_join(handle_, &result);
        created_ = false;
        return result == PTHREAD_CANCELED;
    }

    bool isFinished() const { return finished_; }

    /** Whether the thread sleeps in a system call right now. */
    bool isAsleep() const { return read("stat", ") ") == 'S'; }
    /** Waits until the thread sleeps in a system call. */
    bool fallsAsleep() const {
        return eventually([this] { return isAsleep(); });
    }

    /** How often the thread has gone to sleep so far. */
    long sleeps() const {
        long count = -1;
        read("status", "\nvoluntary_ctxt_switches:", &count);
        return count;
    }

private:
    static void* run(void* self) {
        Thread* const thread = static_cast<Thread*>(self);
        thread->id_ = static_cast<int>(syscall(SYS_gettid));
        thread->body_();
        thread->finished_ = true;
        return nullptr;
    }

    /** The character after the last `mark` in a file of /proc, and the number there. */
    char read(const char* file, const char* mark, long* number = nullptr) const {
        char path[64];
        std::snprintf(path, sizeof path, "/proc/self/task/%d/%s", id_.load(), file);
        std::FILE* const in = id_ == 0 ? nullptr : std::fopen(path, "re");
        if (in == nullptr) return '\0';
        char text[4096];
        text[std::fread(text, 1, sizeof text - 1, in)] = '\0';
        std::fclose(in);
        const char* const at = std::strstr(text, mark);
        if (at == nullptr) return '\0';
        if (number != nullptr) std::sscanf(at + std::strlen(mark), "%ld", number);
        return at[std::strlen(mark)];
    }

    std::function<void()> body_;
    pthread_t handle_{};
    bool created_ = false;
    std::atomic<int> id_{0};
    std::atomic<bool> finished_{false};
};

}  // namespace support

#endif
