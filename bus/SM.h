#ifndef JAY_BUS_SM_H
#define JAY_BUS_SM_H

#include <atomic>
#include <memory>
#include <vector>

#include "bus/M.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"
#include "thread/JThread.h"

class CM;
class JSocket;
class MQ;
class SA;

namespace jay::detail {
class Broadcast;
class Burst;
class Outcome;
class Turn;
struct SMPeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * The bus server: a thread that routes messages between up to 32 clients. A program creates one with the port
 * to listen on, and starts it:
 *
 *     SM server(7000);
 *     server.start();
 *     if (server.waitUntilListening(5000) != 0) ...   // for example, the port is in use
 *
 * A message goes to the client with its destination id. A SYNC message goes to client 0, whatever its destination. The
 * server asks client 0, by a SYNC message of its own, to start a client that is not connected and for which messages
 * wait. A broadcast goes to every client that is connected at that moment, except its source; each copy has its
 * receiver as destination, and flag 0. Messages for a client that is not connected are kept, without limit, until it
 * connects.
 *
 * The manager owns its inbound queue, its listener, and an agent for each client id that was ever used; they are
 * destroyed with it. It writes diagnostics to the debug output, with the prefixes "SM>> ", "SA(id)>> " and "CM>> ".
 *
 * Threads: any thread may call add(), set(), status(), notify() and stop(). When the destructor is called, no other
 * thread may use the object. Locks: slotLock guards the table of agents only and is never held while an agent is called.
 * One thread routes at a time, and no thread waits for it (detail/Turn).
 */
class JAY_API SM : public JThread {
public:
    static const JClass classSM;

    static constexpr int MAX_CLIENTS = 32;  ///< client ids are 0..31

    /** The status of one client; see status(). */
    struct ClientStatus {
        int state = -1;      ///< -1: its id was never used, the rest is empty; 0..4: see the table at SA
        int queued = 0;      ///< messages that wait for it
        int in = 0;          ///< messages that ever arrived for it, waiting ones included
        char host[16] = "";  ///< the client's address, dotted; empty without a connection
        int port = 0;        ///< the client's port; 0 without a connection
    };

    /** The status of the server; see status(). */
    struct Status {
        int in = 0;       ///< messages that arrived at the manager, its own requests to client 0 included
        int out = 0;      ///< messages that it has routed
        int waiting = 0;  ///< messages that have arrived and are not routed yet
        ClientStatus clients[MAX_CLIENTS];  ///< by client id
    };

    /** Does not listen before start(). @param port TCP port to listen on, 1..65535. */
    explicit SM(int port);

    /**
     * Ends the threads, then destroys agents, queue and listener; takes less than 2 s, whatever the clients
     * do. Queued messages are lost, and connections are closed (with one exception: see ~SA).
     */
    ~SM() override;

    /**
     * The routing loop, on the manager's own thread. While the log is off, a message is routed by the thread that has read it,
     * if no other thread is routing, but no more than 512 messages at once: the manager's thread continues then, and the
     * reader reads on. The log changes nothing else.
     */
    void run() override;

    /** Returns &classSM. */
    const JClass* getClass() const override;

    /** Queues a copy of a message for routing. One above M::MAX_SIZE is dropped. */
    void add(M& m);

    /**
     * Passes a new connection to the agent of its client, which first closes a former connection. Blocks until that is
     * closed.
     * @return 1 if the connection was attached; the agent then owns the socket. 0 if the id is not 0..31 or the
     * server is stopping; the socket is then neither used nor closed.
     */
    int set(int client, JSocket* socket);

    /**
     * Sets whether connections from other machines are closed as soon as they are accepted, before a byte is read from
     * them. The default is false. Call it before start(); a later call applies to the following connections. A
     * connection is from this machine if its peer has an address of 127.0.0.0/8, or the same address as the server's end
     * (as when a client uses the machine's own name). The server listens on every address in either case, and handles
     * one new connection after the other (see CM).
     */
    void setLocalOnly(bool on);

    /**
     * The status of the server, for display. Each number is correct at the moment when it is read. The numbers may not
     * match each other, because routing and the agents continue meanwhile. Takes the lock of each queue while it counts
     * the messages. Any thread may call it.
     */
    Status status();

    /** Wakes the routing loop. */
    int notify();

    /** Makes the routing loop end. */
    void stop();

    /**
     * Waits until the started server listens or has failed to. A cancellation point.
     * @param ms the longest wait in milliseconds, counted on the steady clock; with 0 or less it does not wait.
     * @return 0 if the server listens; the errno of the failure (EADDRINUSE, EACCES, ...); -1 after the time-out.
     */
    int waitUntilListening(int ms);

private:
    friend class CM;
    friend class SA;
    friend struct jay::detail::SMPeer;

    // for the agents
    JAY_HIDDEN void adoptQuietly(M* m);
    JAY_HIDDEN void adoptQuietly(std::vector<std::unique_ptr<M>>& messages);
    JAY_HIDDEN void routeNow();

    JAY_HIDDEN void routeWaiting(bool onOwnThread);
    JAY_HIDDEN void routeRounds(bool onOwnThread, int& share);
    JAY_HIDDEN bool mayRoute(bool onOwnThread) const;
    JAY_HIDDEN void route(std::unique_ptr<M> m);
    JAY_HIDDEN void broadcast(std::unique_ptr<M> m);
    JAY_HIDDEN unsigned connectedBut(int src);
    JAY_HIDDEN void queueBroadcasts();
    JAY_HIDDEN void tellAgents();
    JAY_HIDDEN SA* agentAt(int client);
    JAY_HIDDEN SA* agentFor(int client);
    JAY_HIDDEN void listening(int error);
    JAY_HIDDEN void stopThreads();
    template <class Action>
    void forEachAgent(unsigned clients, Action action);

    MQ* mq;
    std::atomic<CM*> cm;  // made by the manager's thread
    JEvent event;
    std::atomic<SA*> slots[MAX_CLIENTS];  // filled under slotLock; an agent that is there stays
    std::atomic<bool> stopFlag;
    std::atomic<int> in;        // counted by many threads; nothing depends on the order
    std::atomic<unsigned> out;  // counted by whoever routes
    JLock slotLock;
    int port;

    std::unique_ptr<jay::detail::Outcome> listenResult;  // what waitUntilListening() returns
    std::atomic<bool> localOnly;
    std::unique_ptr<jay::detail::Turn> turn;  // to route: whoever has it counts `out` and uses `untold`
    unsigned untold;  // agents that have messages they have not been told of, a bit each
    std::vector<jay::detail::Broadcast*> broadcasts;  // routed and not queued yet
    unsigned receivers;                               // of all of those, a bit each
    std::unique_ptr<char[]> burstRoom;
    std::unique_ptr<jay::detail::Burst>
        burst;  // where the messages that leave for one client are put together
};

#endif
