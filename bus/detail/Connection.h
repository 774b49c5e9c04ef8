#ifndef JAY_BUS_DETAIL_CONNECTION_H
#define JAY_BUS_DETAIL_CONNECTION_H

#include <atomic>

#include "thread/JLock.h"
#include "thread/JThreadSafety.h"

class JSocket;

namespace jay::detail {

struct ConnectionPeer;  // for the library's own tests

/**
 * The socket of one client: who may use it, and who destroys it. Empty at first.
 *
 * Three kinds of thread meet here. The agent sends through the socket; whoever puts a socket in or takes one out holds the
 * agent's lock. The reader borrows the socket while it reads, and until it gives it back nobody destroys it. Any other
 * thread ends the connection or asks for its address.
 *
 * The lock guards the pointer and the loan. It is the innermost lock of the server, and nobody waits for the network
 * under it.
 */
class Connection {
public:
    Connection() = default;
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // ---- under the agent's lock ----

    /** The socket, null if there is none; good while the agent's lock is held. */
    JSocket* get() const { return socket_; }

    /** Puts a new socket in, which is owned from now on, and destroys the former one. False, with nothing done, while that
     * one is borrowed. */
    bool replace(JSocket* socket);

    enum Removal { NOTHING_THERE, REMOVED, STILL_BORROWED };

    /** Destroys the socket unless it is borrowed. */
    Removal remove();

    /** Hands the socket over to the caller, open or closed. Null if there is none. */
    JSocket* release();

    // ---- for the reader ----

    /** The socket, null if there is none; good until giveBack(). */
    JSocket* borrow();

    void giveBack();

    // ---- for any thread ----

    /** Closes the connection, which ends the waits of both threads on the client. The socket stays. */
    void close();

    /**
     * Ends the receiving side after what has arrived by now: the reader takes that, comes to the end of the stream and closes
     * the connection. Does nothing the second time.
     */
    void retire();

    /** Whether retire() was called for the present socket. */
    bool isRetired() const { return retired_; }

    /** Ends the waits of both threads on the client, which does not notice. */
    void wakeUp();

    /** The address of the client's end. False, with nothing written, when there is no open connection. */
    bool getAddress(char* host, int size, int& port);

private:
    friend struct ConnectionPeer;

    JLock lock_;
    // Changed under lock_ and the agent's lock; so either of them makes it good to read.
    std::atomic<JSocket*> socket_{nullptr};
    bool lent_ JAY_GUARDED_BY(lock_) = false;
    std::atomic<bool> retired_{false};  // changed under lock_; the reader looks at it without
};

}  // namespace jay::detail

#endif
