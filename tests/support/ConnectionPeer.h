/** @file What the tests of the agents look at inside: the lock that keeps a connection's socket. */
#ifndef JAY_TESTS_SUPPORT_CONNECTIONPEER_H
#define JAY_TESTS_SUPPORT_CONNECTIONPEER_H

#include "bus/detail/Connection.h"

struct jay::detail::ConnectionPeer {
    static JLock& lock(Connection& connection) { return connection.lock_; }
};

#endif
