/** @file What the tests of the bus client look at inside: its lock, its bands and its socket. */
#ifndef JAY_TESTS_SUPPORT_CAPEER_H
#define JAY_TESTS_SUPPORT_CAPEER_H

#include <algorithm>

#include "bus/CA.h"
#include "support/JSocketPeer.h"

struct jay::detail::CAPeer {
    static int id(const CA& client) { return client.id; }
    static const char* host(CA& client) { return client.host.toCharArray(); }
    static int port(const CA& client) { return client.port; }
    static JSocket& socket(const CA& client) { return *client.socket; }
    static int number(const CA& client) { return JSocketPeer::number(*client.socket); }

    static std::atomic<unsigned>& cursor(CA& client) { return client.cursor; }
    static bool hasCallback(const CA& client) { return client.callback != nullptr; }
    static bool isStopped(const CA& client) { return client.stopFlag != 0; }
    static bool isDone(const CA& client) { return client.doneFlag != 0; }

    /** Whether nobody holds the lock. Not for its holder, to whom it is always free. */
    static bool isFree(CA& client) {
        if (!client.lock.tryLock()) return false;
        client.lock.unlock();
        return true;
    }

    /** How many signalled messages no wait() has consumed. */
    static int signalled(CA& client) { return client.messageEvent.count(); }

    /** Puts a message into its band, as the reading thread does. */
    static void sortIn(CA& client, M* m) {
        client.bands[std::min(m->getPriority(), CA::BANDS - 1)]->adopt(m);
        client.waiting++;
    }
};

#endif
