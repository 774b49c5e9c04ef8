/** @file A socket of the library, and the client at its other end. */
#ifndef JAY_TESTS_BUS_SOCKETPAIR_H
#define JAY_TESTS_BUS_SOCKETPAIR_H

#include "bus/Server.h"

namespace bus {

struct SocketPair {
    explicit SocketPair(int bufferSize = 0) {
        net::Listener listener;
        client = Client::connectedTo(listener.port());
        socket = new JSocket(listener.accept().release());
        if (bufferSize > 0) socket->setSendBufferSize(bufferSize);
    }

    Client client;
    JSocket* socket;  ///< the caller's
};

}  // namespace bus

#endif
