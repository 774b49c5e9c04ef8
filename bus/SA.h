#ifndef JAY_BUS_SA_H
#define JAY_BUS_SA_H

#include <atomic>
#include <memory>
#include <vector>

#include "bus/M.h"
#include "bus/SM.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"
#include "thread/JThread.h"
#include "thread/JThreadSafety.h"

class JSocket;
class LQ;

namespace jay::detail {
class Broadcast;
class Burst;
class Connection;
class Outbox;
struct SAPeer;  // for the library's own tests
}  // namespace jay::detail

/**
 * The server's agent for one client. It keeps the client's outbound queue, sends the messages while the client
 * is connected, and asks client 0 to start the client while it is not. The agent outlives the connections: the next
 * connection with the same id is passed to the same agent.
 *
 * | state | meaning                                                                                      |
 * |-------|----------------------------------------------------------------------------------------------|
 * | 0     | no connection; as soon as a message waits, client 0 is asked to start the client             |
 * | 1     | client 0 was asked; after 30 s back to 0, so that it is asked again while messages wait      |
 * | 2     | connected: messages are sent                                                                 |
 * | 3     | the connection failed or was lost; its socket is to be closed                                |
 * | 4     | closed; the socket is destroyed when the reader no longer uses it; 3 s after the loss back to 0 |
 *
 * The time stamp of a TIMED message is a time-out in milliseconds. The agent sends the message with the time of sending
 * as its stamp and without the flag. Any message that the client sends afterwards counts as the answer. If none arrives
 * in time, the agent sends nothing more (state 1) and asks client 0 to restart the client. All time limits are counted
 * on the steady clock: setting the time of day does not change them.
 *
 * The manager makes and starts the agents, and they are destroyed with it. Two threads serve an agent: its own sends
 * messages and runs the states; the reader reads the client's messages and passes them to the manager.
 *
 * Lock: `lock` guards the states, the message that is being sent, and the choice of the socket. It is held while a
 * message is written, for up to 10 s if the client does not read. The locks of the queues and of the connection are taken
 * inside it.
 */
class JAY_API SA : public JThread {
public:
    class SAReader;

    static const JClass classSA;

    /** Starts the reader; the manager starts the agent's own thread. @param id 0..31. */
    SA(SM* sm, int id);

    /**
     * Ends both threads, and so the connection of the client. The connection of a client that has not answered a TIMED
     * message is not closed until the process ends (kept: clients rely on it). The reader object is not destroyed here
     * (kept): the thread registry destroys it at the end of the process.
     */
    ~SA() override;

    /** The sending loop, on the agent's own thread. */
    void run() override;

    /** Returns &classSA. */
    const JClass* getClass() const override;

    /** Queues a copy of a message for the client. */
    void add(M& m);

    /** Whether the client is connected. Does not wait for a message that is being written. */
    bool active();

    /**
     * Attaches a new connection. Closes a former connection first, after the reader has taken the complete messages that
     * have arrived on it, and waits until it is closed.
     * @return 1 if the connection was attached; the agent then owns the socket. 0 for null, and if the agent is
     * stopping.
     */
    int set(JSocket* s);

    /**
     * One step of closing, by state: from 2 to 3; from 3 to 4, closing the socket; in 4 waits until the reader no longer
     * uses the socket, and destroys it; nothing in 0 and 1. The reader performs only the first step, so it never waits
     * for itself.
     */
    void close();

    /** Asks client 0 to start this client, by a SYNC message with reqid() as source and this id as destination. */
    void sync();

    /** The source of the request to client 0: the sender of the first message in the queue, or this id if the queue is
     * empty. For the agent's own thread, which takes the messages out. */
    int reqid();

    /** Wakes the sending loop. */
    int notify();

    /** Makes the sending loop end. */
    void stop();

private:
    friend class SM;
    friend struct jay::detail::SAPeer;

    enum State { NO_STATE = -1, ABSENT = 0, ASKED = 1, CONNECTED = 2, LOST = 3, CLOSED = 4 };

    // for the sending loop
    JAY_HIDDEN void awaitStep(bool waiting, long long deadline);
    JAY_HIDDEN void awaitDeadline(long long deadline);
    JAY_HIDDEN void step(bool waiting, long long& deadline);
    JAY_HIDDEN void ask(long long& deadline) JAY_REQUIRES(lock);
    JAY_HIDDEN void sendNext() JAY_REQUIRES(lock);
    JAY_HIDDEN bool offerBurst(JSocket& to) JAY_REQUIRES(lock);
    JAY_HIDDEN bool deliverAtOnce(jay::detail::Burst& burst)
        JAY_UNCHECKED_LOCKING;  // it tries to take the lock
    JAY_HIDDEN void startTimer(M& m) JAY_REQUIRES(lock);
    JAY_HIDDEN void sent(int result) JAY_REQUIRES(lock);
    JAY_HIDDEN void logLostMessage() const;
    JAY_HIDDEN bool expired() const;
    JAY_HIDDEN bool closeStep() JAY_REQUIRES(lock);
    JAY_HIDDEN bool destroySocket() JAY_REQUIRES(lock);

    // for the reader, which uses nothing else
    JAY_HIDDEN JSocket* borrowSocket();
    JAY_HIDDEN bool isRetired() const;
    JAY_HIDDEN void received(std::vector<std::unique_ptr<M>>& messages);
    JAY_HIDDEN void endConnection();
    JAY_HIDDEN void giveSocketBack();

    // for the manager and the listener
    JAY_HIDDEN void adoptQuietly(M* m);
    JAY_HIDDEN void adoptQuietly(const std::vector<jay::detail::Broadcast*>& broadcasts);
    JAY_HIDDEN void deliver(jay::detail::Burst& burst);
    JAY_HIDDEN void stopReader();
    JAY_HIDDEN void endReader();
    JAY_HIDDEN bool stopping();
    JAY_HIDDEN bool replaceable();
    JAY_HIDDEN bool attach(JSocket* s);
    JAY_HIDDEN void tell(SM::ClientStatus& status);

    int id;
    JEvent event;
    std::atomic<bool> stopFlag;
    LQ* lq;
    SM* sm;
    std::unique_ptr<jay::detail::Connection> socket;
    std::atomic<int> in;  // counted by several threads
    int out;              // nothing counts it: the log always shows 0 (kept)
    JLock lock;
    std::atomic<int> state;  // changed under lock; read without it where any recent value will do
    std::atomic<long long>
        timedStamp;  // of the steady clock; set under lock, cleared by the reader without it: either order
                     // is right
    SAReader* reader;

    std::unique_ptr<jay::detail::Outbox> outbox JAY_PT_GUARDED_BY(lock);
    bool held;  // whether what waits is held back, for the client has ended its side; the sending loop only
};

/**
 * The thread that reads one client's messages. It belongs to its agent and uses few of the agent's operations: it borrows
 * the socket, passes on the messages that it has read, reports the end of the connection, and gives the socket back.
 */
class JAY_API SA::SAReader : public JThread {
public:
    static const JClass classSAReader;

    explicit SAReader(SA* agent);  ///< reads the messages from the client of `agent`, which must outlive it
    ~SAReader() override;

    void run() override;

    /** Returns &classSAReader. */
    const JClass* getClass() const override;

    /** Whether it waits for a socket and uses none. */
    bool idle();

    /** Notifies it that its agent has a new socket. */
    int notify();

    /** Makes it end. */
    void stop();

    /** Whether stop() was called. */
    bool isStopping() const;

private:
    JAY_HIDDEN void serve(JSocket& from);
    JAY_HIDDEN void readMessages(JSocket& from);

    SA* agent;
    JEvent event;
    std::atomic<char> stopFlag;
    std::atomic<char> idleFlag;
};

#endif
