/** @file What the tests of sockets look at inside: the descriptor, the fixed times, which they shorten, and the buffers. */
#ifndef JAY_TESTS_SUPPORT_JSOCKETPEER_H
#define JAY_TESTS_SUPPORT_JSOCKETPEER_H

#include "net/JServerSocket.h"
#include "net/JSocket.h"

struct jay::detail::JSocketPeer {
    using Input = JSocket::JSocketInputStream;
    using Output = JSocket::JSocketOutputStream;

    static int number(const JSocket& socket) { return socket.fd; }
    static int& connectTimeout(JSocket& socket) { return socket.connectTimeout; }
    static int& readTimeout(JSocket& socket) { return socket.readTimeout; }
    static int& writeTimeout(JSocket& socket) { return socket.writeTimeout; }
    static bool inputShutdown(const JSocket& socket) { return socket.inputShutdown; }
    static bool outputShutdown(const JSocket& socket) { return socket.outputShutdown; }
    static const char* hostAddress(const JSocket& socket) { return socket.hostAddress; }
    static const char* message(const JSocket& socket) { return socket.message; }
    static bool hasStreams(const JSocket& socket) {
        return socket.input != nullptr || socket.output != nullptr;
    }

    static constexpr std::size_t HOST_SIZE = sizeof(JSocket::host);
    static constexpr std::size_t HOST_ADDRESS_SIZE = sizeof(JSocket::hostAddress);
    static constexpr std::size_t MESSAGE_SIZE = sizeof(JSocket::message);

    static const JSocket* owner(const Input& in) { return in.socket; }
    static const JSocket* owner(const Output& out) { return out.socket; }
    static JByte* readAhead(const Input& in) { return in.buffer; }
    static int buffered(const Input& in) { return in.buffered; }
    static int capacity(const Input& in) { return in.capacity; }
    static bool hasWindow(const Input& in) { return in.window != nullptr; }

    static int number(const JServerSocket& server) { return server.fd; }
    static int acceptWait(const JServerSocket& server) { return server.acceptWait; }
    static const char* name(const JServerSocket& server) { return server.name; }
    static constexpr std::size_t NAME_SIZE = sizeof(JServerSocket::name);
};

#endif
