/** @file What the tests of a client's outbound queue look at inside: its bands, its lock and whether it is closed. */
#ifndef JAY_TESTS_SUPPORT_LQPEER_H
#define JAY_TESTS_SUPPORT_LQPEER_H

#include "bus/LQ.h"

struct jay::detail::LQPeer {
    static constexpr int BANDS = LQ::BANDS;
    using Bands = JQueue* [BANDS];

    static int bandOf(int flag, int priority) { return LQ::bandOf(flag, priority); }
    static JLock& lock(LQ& queue) { return queue.lock; }
    static Bands& bands(LQ& queue) JAY_UNCHECKED_LOCKING { return queue.bands; }
    static bool& closed(LQ& queue) JAY_UNCHECKED_LOCKING { return queue.closed; }
};

#endif
