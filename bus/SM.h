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
}  // namespace jay::detail

/**
 * The bus server: a thread that routes messages between up to 32 clients. A program makes one with the port
 * to listen on and starts it:
 *
 *     SM server(7000);
 *     server.start();
 *     if (server.waitUntilListening(5000) != 0) ...   // the port is in use, say
 *
 * A message goes to the client that its destination names. SYNC messages go to client 0 whatever their
 * destination says; it is the one that is told when a client has messages waiting but no connection.
 * Broadcasts go to every other client that is connected at that moment, each copy with its receiver as
 * destination and flag 0. Messages for a client that is not connected are kept, without limit, until it
 * connects.
 *
 * Owns its inbound queue, its listener and one agent per client id that has been seen; all of them live as
 * long as it. Diagnostics go to the debug output, prefixed "SM>> ", "SA(id)>> " and "CM>> ".
 *
 * Threads: add(), set(), status(), notify() and stop() may be called by any thread; the destructor when no other thread
 * calls in. Locks: slotLock guards the table of agents only and is never held while an agent is called.
 * One thread routes at a time, but none waits for it (detail/Turn).
 */
class JAY_API SM : public JThread {
public:
    static const JClass classSM;

    static constexpr int MAX_CLIENTS = 32;  ///< client ids are 0..31

    /** What the server tells of one client; see status(). */
    struct ClientStatus {
        int state = -1;      ///< -1: never seen, the rest is empty; 0..4: see the table at SA
        int queued = 0;      ///< messages that wait for it
        int in = 0;          ///< messages that ever came for it, those that wait included
        char host[16] = "";  ///< the address of its end of the connection, dotted; empty without a connection
        int port = 0;        ///< the port of that end; 0 without a connection
    };

    /** What the server tells of itself; see status(). */
    struct Status {
        int in = 0;       ///< messages that came to the manager, its own wake-ups for client 0 included
        int out = 0;      ///< messages that it has routed
        int waiting = 0;  ///< messages that came and are not routed yet
        ClientStatus clients[MAX_CLIENTS];  ///< by client id
    };

    /** @param port TCP port to listen on, 1..65535. Nothing happens before start(). */
    explicit SM(int port);

    /**
     * Ends the threads, then destroys agents, queue and listener; takes well under 2 s whatever the clients
     * do. Messages still queued are lost, connections are closed (one kind is not: see ~SA).
     */
    ~SM() override;

    /**
     * The routing loop, on the manager's own thread. While the log is off, a message is routed by the thread that has read it,
     * if no other thread is routing; the log changes nothing else.
     */
    void run() override;

    /** Returns &classSM. */
    const JClass* getClass() const override;

    /** Queues a copy of a message for routing. One above M::MAX_SIZE is dropped. */
    void add(M& m);

    /**
     * Hands a new connection to the agent of its client, which closes a former one first. May block until the
     * agent is ready, which takes as long as the former connection needs to close.
     * @return 1 when the connection was attached, and the agent owns it; 0 when the id is not 0..31 or the
     * server is stopping, and the socket is neither used nor closed.
     */
    int set(int client, JSocket* socket);

    /**
     * Whether connections from other machines are closed as soon as they are accepted, before a byte is read from
     * them. False unless set; to be set before start(), later it counts from the next connection on. From this machine
     * is a connection whose peer has an address of 127.0.0.0/8, or the very address that it has connected to (a client
     * that was given the machine's own name); from another one is every other. The server listens on every address
     * either way, and one connection is looked at after the other (see CM).
     */
    void setLocalOnly(bool on);

    /**
     * What the server is doing, for people to look at. Each number is right at the moment when it is read; together
     * they need not fit, because nothing is held up for it: no routing, and no agent, also not one that waits in a
     * write. Takes each queue's lock for as long as counting takes. Any thread may ask.
     */
    Status status();

    /** Wakes the routing loop. */
    int notify();

    /** Tells the routing loop to end. */
    void stop();

    /**
     * Waits until the started server listens, or cannot. @param ms the longest wait, in milliseconds of the steady clock;
     * 0 and less do not wait. A cancellation point.
     * @return 0 when it listens; the errno of what failed (EADDRINUSE, EACCES, ...); -1 when the time was up.
     */
    int waitUntilListening(int ms);

private:
    friend class CM;
    friend class SA;

    // for the agents
    void adoptQuietly(M* m);
    void adoptQuietly(std::vector<std::unique_ptr<M>>& messages);
    void routeNow();

    void routeWaiting(bool onOwnThread);
    void routeRounds(bool onOwnThread);
    bool mayRoute(bool onOwnThread) const;
    void route(std::unique_ptr<M> m);
    void broadcast(std::unique_ptr<M> m);
    unsigned connectedBut(int src);
    void queueBroadcasts();
    void tellAgents();
    SA* agentAt(int client);
    SA* agentFor(int client);
    void listening(int error);
    void stopThreads();
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
