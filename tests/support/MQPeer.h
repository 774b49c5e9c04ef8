/** @file What the tests of the server's inbound queue look at inside: its bands, its lock and whether it is closed. */
#ifndef JAY_TESTS_SUPPORT_MQPEER_H
#define JAY_TESTS_SUPPORT_MQPEER_H

#include "bus/MQ.h"

struct jay::detail::MQPeer {
    static constexpr int BANDS = MQ::BANDS;
    using Bands = JQueue* [BANDS];

    static int bandOf(int flag, int priority) { return MQ::bandOf(flag, priority); }
    static JLock& lock(MQ& queue) { return queue.lock; }
    static Bands& bands(MQ& queue) JAY_UNCHECKED_LOCKING { return queue.bands; }
    static bool& closed(MQ& queue) JAY_UNCHECKED_LOCKING { return queue.closed; }
};

#endif
