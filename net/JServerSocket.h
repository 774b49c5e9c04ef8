#ifndef JAY_NET_JSERVERSOCKET_H
#define JAY_NET_JSERVERSOCKET_H

#include <atomic>
#include <memory>

#include "core/JObject.h"
#include "net/JInetAddress.h"
#include "net/JSocket.h"

namespace jay::detail {
class Descriptor;
struct JSocketPeer;
}  // namespace jay::detail
struct sockaddr_in;

/**
 * Listens for TCP connections on a port of every local IPv4 address.
 *
 * Threads: one thread accepts; any thread may call close(), which makes a waiting accept() return null at
 * once.
 */
class JAY_API JServerSocket : public JObject {
public:
    /**
     * Starts to listen, with a backlog of 10. @param port 1..65535; with 0 the system chooses a port, which no
     * operation reports. getError() says whether the constructor has succeeded.
     */
    explicit JServerSocket(int port);

    /** close(). */
    ~JServerSocket() override;
    JServerSocket(const JServerSocket&) = delete;
    JServerSocket& operator=(const JServerSocket&) = delete;

    /** False only if the port could not be bound, typically because it is in use; true after other failures
     * (kept: callers rely on it). */
    bool isInit();

    /** 0 while listening; otherwise the errno of the step that failed, or EBADF after close(). */
    int getError() const;

    /**
     * Waits about a second for a connection. A cancellation point; a connection that is accepted already is not lost.
     * @return a new socket that the caller owns, with keep-alive off and the address that the connection came from, even
     * if it has been reset since; or null: nobody came, it failed (errno tells
     * why), or this was closed. A second without a connection looks at errno as it stands and goes on waiting if that
     * is EINTR or EAGAIN (kept); callers that must get their null set errno to 0 first.
     */
    JSocket* accept();

    /** The port given to the constructor. */
    int getLocalPort();

    /** Returns 0; setting it has no effect (kept: callers rely on it). */
    int getSoTimeout();
    void setSoTimeout(int ms);

    /** The local address of the listening socket: normally 0.0.0.0; 0.0.0.0 on failure too. */
    JInetAddress getInetAddress();

    /** Stops listening. A second call does nothing. */
    void close();

private:
    friend struct jay::detail::JSocketPeer;

    JAY_HIDDEN void listenOn(int number);
    JAY_HIDDEN static JSocket* wrap(int number, const sockaddr_in& peer);

    std::atomic<int> fd;  // the number; after a failed bind or listen it is still the number that was closed
                          // (kept). It may belong to another file by then and is not used again
    int port;
    int acceptWait;  // seconds
    char name[256];
    bool init;

    int error;
    std::unique_ptr<jay::detail::Descriptor> descriptor;  // guards the number in fd
};

#endif
