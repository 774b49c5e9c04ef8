/** @file What the tests of the bus server look at inside: its queue, its agents, its counters and its listener. */
#ifndef JAY_TESTS_SUPPORT_SMPEER_H
#define JAY_TESTS_SUPPORT_SMPEER_H

#include <atomic>

#include "bus/SM.h"

struct jay::detail::SMPeer {
    using Slots = std::atomic<SA*>[SM::MAX_CLIENTS];

    static int port(const SM& server) { return server.port; }
    static int in(const SM& server) { return server.in; }
    static unsigned out(const SM& server) { return server.out; }
    static bool isStopped(const SM& server) { return server.stopFlag; }
    static CM* listener(const SM& server) { return server.cm; }

    static MQ& queue(SM& server) { return *server.mq; }
    static JEvent& event(SM& server) { return server.event; }
    static Slots& slots(SM& server) { return server.slots; }
    static JLock& slotLock(SM& server) { return server.slotLock; }

    /** Null if the client's id was never used. */
    static SA* agentAt(SM& server, int client) { return server.agentAt(client); }
    /** Makes the agent if there is none. */
    static SA* agentFor(SM& server, int client) { return server.agentFor(client); }
};

#endif
