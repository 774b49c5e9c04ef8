/** @file What the tests of the server's agents look at inside: states, queue, connection and single steps. */
#ifndef JAY_TESTS_SUPPORT_SAPEER_H
#define JAY_TESTS_SUPPORT_SAPEER_H

#include <atomic>

#include "bus/detail/Connection.h"
#include "bus/detail/Outbox.h"
#include "bus/LQ.h"
#include "bus/SA.h"

struct jay::detail::SAPeer {
    static int id(const SA& agent) { return agent.id; }
    static int in(const SA& agent) { return agent.in; }
    static int out(const SA& agent) { return agent.out; }
    static bool isStopped(const SA& agent) { return agent.stopFlag; }
    static bool holdsBack(const SA& agent) { return agent.held; }
    static SA::SAReader& reader(const SA& agent) { return *agent.reader; }

    static LQ& queue(SA& agent) { return *agent.lq; }
    static JEvent& event(SA& agent) { return agent.event; }
    static JLock& lock(SA& agent) { return agent.lock; }
    static Connection& connection(SA& agent) { return *agent.socket; }
    static Outbox& outbox(SA& agent) JAY_UNCHECKED_LOCKING { return *agent.outbox; }
    static std::atomic<int>& state(SA& agent) { return agent.state; }
    static std::atomic<long long>& timedStamp(SA& agent) { return agent.timedStamp; }

    static void adoptQuietly(SA& agent, M* m) { agent.adoptQuietly(m); }
    static void deliver(SA& agent, Burst& burst) { agent.deliver(burst); }
    static void step(SA& agent, bool waiting, long long& deadline) { agent.step(waiting, deadline); }
    static void endReader(SA& agent) { agent.endReader(); }
};

#endif
