#ifndef JAY_BUS_DETAIL_BACKLOG_H
#define JAY_BUS_DETAIL_BACKLOG_H

#include <algorithm>
#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace jay::detail {

/** How long a queue has been, so that the memory of a flood of messages goes back to the system when it is over. */
class Backlog {
public:
    static constexpr int FLOOD = 50000;  ///< messages from which on it pays to look for memory to give back

    /**
     * Messages are taken out of a queue. @param before how many waited. @param left how many are left.
     * @return whether this ends a flood.
     */
    bool taken(int before, int left) {
        longest_ = std::max(longest_, before);
        if (left > 0) return false;
        const bool flood = longest_ >= FLOOD;
        longest_ = 0;
        return flood;
    }

    /** Gives memory that was freed back to the system. With a C library that does not do so by itself and offers no means,
     * nothing happens. Takes some milliseconds: call it with no lock held. */
    static void releaseMemory() {
#if defined(__GLIBC__)
        malloc_trim(0);
#endif
    }

private:
    int longest_ = 0;
};

}  // namespace jay::detail

#endif
