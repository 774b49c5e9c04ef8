/** @file The library's debug output, kept for the test to look at. */
#ifndef JAY_TESTS_SUPPORT_DEBUGLOG_H
#define JAY_TESTS_SUPPORT_DEBUGLOG_H

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <mutex>
#include <string>

#include "support/Thread.h"
#include "system/JSystem.h"

namespace support {

/**
 * Takes the place of the C library's stream for standard error. Unlike a pipe it never fills up, and what a
 * sanitizer writes past that stream still comes out. No thread of the library may be running when it comes or goes.
 */
class DebugLog {
public:
    DebugLog() : real_(stderr) {
        stderr = fopencookie(this, "w", {nullptr, append, nullptr, nullptr});
        if (stderr == nullptr) std::abort();
    }
    ~DebugLog() {
        JSystem::debug(true);
        std::fclose(std::exchange(stderr, real_));
    }
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    std::string text() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return text_;
    }

    /** How often a piece of text, normally a line, was written. */
    int count(const std::string& piece) const {
        const std::lock_guard<std::mutex> guard(mutex_);
        int n = 0;
        for (std::size_t at = text_.find(piece); at != std::string::npos; at = text_.find(piece, at + 1)) n++;
        return n;
    }

    /** Waits until the piece has been written so often. */
    void expect(const std::string& piece, int times = 1) const {
        EXPECT_TRUE(eventually([&] { return count(piece) >= times; }))
            << "not logged " << times << " times: " << piece << text();
    }

    /** The piece has not been written yet. */
    void expectNo(const std::string& piece) const { EXPECT_EQ(count(piece), 0) << text(); }

    /** The pieces were written in this order, with anything between them. */
    void expectInOrder(std::initializer_list<std::string> pieces) const {
        const std::string all = text();
        std::size_t at = 0;
        for (const std::string& piece : pieces) {
            at = all.find(piece, at);
            ASSERT_NE(at, std::string::npos) << "not in order: " << piece << all;
            at += piece.size();
        }
    }

    /** Makes every write wait, as a full pipe does, for the length of a scope. */
    class Blocked {
    public:
        explicit Blocked(DebugLog& log) : held_(log.gate_) {}

    private:
        std::lock_guard<std::mutex> held_;
    };

private:
    static ssize_t append(void* self, const char* data, std::size_t n) {
        auto* const log = static_cast<DebugLog*>(self);
        const std::lock_guard<std::mutex> open(log->gate_);
        const std::lock_guard<std::mutex> guard(log->mutex_);
        log->text_.append(data, n);
        return static_cast<ssize_t>(n);
    }

    std::FILE* real_;
    std::mutex gate_;  // held by Blocked
    mutable std::mutex mutex_;
    std::string text_;
};

}  // namespace support

#endif
