#ifndef JAY_BUS_SM_H
#define JAY_BUS_SM_H

#include <atomic>

#include "bus/M.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"
#include "thread/JThread.h"

class CM;
class JSocket;
class MQ;
class SA;

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
 * Threads: add(), set(), notify() and stop() may be called by any thread; the destructor when no other thread
 * calls in. Locks: slotLock guards the table of agents only and is never held while an agent is called.
 */
class JAY_API SM : public JThread {
public:
    static constexpr int MAX_CLIENTS = 32;  ///< client ids are 0..31

    /** @param port TCP port to listen on, 1..65535. Nothing happens before start(). */
    explicit SM(int port);

    /**
     * Ends the threads, then destroys agents, queue and listener; takes well under 2 s whatever the clients
     * do. Messages still queued are lost, connections are closed (one kind is not: see ~SA).
     */
    ~SM() override;

    /** The routing loop, on the manager's own thread. */
    void run() override;

    /** Queues a copy of a message for routing. One above M::MAX_SIZE is dropped. */
    void add(M& m);

    /** The same without a copy: the manager takes the message over. */
    void adopt(M* m);

    /**
     * Hands a new connection to the agent of its client, which closes a former one first. May block until the
     * agent is ready, which takes as long as the former connection needs to close.
     * @return 1 when the connection was attached, and the agent owns it; 0 when the id is not 0..31 or the
     * server is stopping, and the socket is neither used nor closed.
     */
    int set(int client, JSocket* socket);

    /** Wakes the routing loop. */
    int notify();

    /** Tells the routing loop to end. */
    void stop();

    /**
     * Waits until the started server listens, or cannot. @param ms the longest wait, in milliseconds.
     * @return 0 when it listens; the errno of what failed (EADDRINUSE, EACCES, ...); -1 when the time was up.
     */
    int waitUntilListening(int ms);

private:
    friend class CM;

    void route(M* message);
    void broadcast(M& m);
    SA* agentAt(int client);
    SA* agentFor(int client);
    void listening(int error);
    void stopThreads();
    template <class Action>
    void forEachAgent(Action action);

    MQ* mq;
    std::atomic<CM*> cm;  // made by the manager's thread
    JEvent event;
    SA* slots[MAX_CLIENTS];  // guarded by slotLock
    std::atomic<bool> stopFlag;
    std::atomic<int> in;  // counted by many threads; nothing depends on the order
    unsigned out;
    JLock slotLock;
    int port;

    std::atomic<int> listenResult;  // what waitUntilListening() returns
};

#endif
