/** @file What the tests of the listener look at inside: its socket and the connection that is being greeted. */
#ifndef JAY_TESTS_SUPPORT_CMPEER_H
#define JAY_TESTS_SUPPORT_CMPEER_H

#include "bus/CM.h"

struct jay::detail::CMPeer {
    static int port(const CM& listener) { return listener.port; }
    static bool isStopped(const CM& listener) { return listener.stopFlag; }
    static const JServerSocket* serverSocket(const CM& listener) { return listener.serverSocket; }
    static JLock& lock(CM& listener) { return listener.lock; }
    /** Good while lock() is held; null if no connection is being greeted. */
    static JSocket* greeted(CM& listener) JAY_UNCHECKED_LOCKING { return listener.greeted; }
    static bool isFromHere(JSocket& socket) { return CM::isFromHere(socket); }
};

#endif
