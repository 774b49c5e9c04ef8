/** @file File calls that are counted and that fail on demand: FileCalls.cpp replaces those of the C library. */
#ifndef JAY_TESTS_DATABASE_FILECALLS_H
#define JAY_TESTS_DATABASE_FILECALLS_H

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <signal.h>

namespace database {

/** One call as the calling thread sees it. */
struct FileCall {
    int count;   // calls so far
    int before;  // calls that succeed before one fails; a negative number fails none
    int error;   // errno of the failure; 0 if the process is killed instead

    /** Lets the call after the next `n` fail, once. */
    void failAfter(int n, int with) {
        before = n;
        error = with;
    }
    /** Lets the process be killed instead of making the call after the next `n`. */
    void killAfter(int n) { failAfter(n, 0); }
    bool hasFailed() const { return before < 0; }
    bool fails() {
        count++;
        if (before < 0 || before-- > 0) return false;
        if (error == 0) raise(SIGKILL);
        errno = error;
        return true;
    }
};

struct FileCalls {
    static inline thread_local FileCall fopen{0, -1, 0}, pread{0, -1, 0}, pwrite{0, -1, 0};

    static inline thread_local size_t mostBytes = SIZE_MAX;  ///< that one call of pread or pwrite transfers

    /** Forgets all counts, failures and limits. */
    static void reset() {
        fopen = pread = pwrite = {0, -1, 0};
        mostBytes = SIZE_MAX;
    }
};

}  // namespace database

#endif
