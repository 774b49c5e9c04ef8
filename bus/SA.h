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

class JSocket;
class LQ;

namespace jay::detail {
class Broadcast;
class Burst;
class Connection;
class Outbox;
}  // namespace jay::detail

/**
 * The server's agent of one client: keeps the client's outbound queue, sends what is in it while the client
 * is connected, and asks client 0 to bring the client up while it is not. Outlives the connections: the next
 * one with the same id is handed to the same agent.
 *
 * | state | meaning                                                                                      |
 * |-------|----------------------------------------------------------------------------------------------|
 * | 0     | no connection; as soon as a message waits, client 0 is asked to bring the client up             |
 * | 1     | asked; after 30 s back to 0, so that it is asked again for as long as messages wait             |
 * | 2     | connected: messages are sent                                                                  |
 * | 3     | the connection failed or was lost; its socket is to be closed                                 |
 * | 4     | closed; the socket is destroyed once the reader has let go of it; 3 s after the loss back to 0  |
 *
 * A TIMED message says: answer within the milliseconds in its time stamp. It leaves with the time of sending
 * as its stamp and without the flag. The first message that the client sends then, whichever it is, counts as
 * the answer. If none comes in time, nothing more is sent (state 1) and client 0 is asked to restart the
 * client. Every time limit is counted on the steady clock: setting the time of day changes none of them.
 *
 * Made and started by the manager and destroyed with it. Two threads serve an agent: its own sends and runs
 * the states, the reader reads the client's messages and hands them to the manager.
 *
 * Lock: `lock` guards the states, what is being sent, and which socket there is. It is held while a message is written, up
 * to 10 s when the client does not read. The locks of the queues and of the connection are taken inside it.
 */
class JAY_API SA : public JThread {
public:
    class SAReader;

    static const JClass classSA;

    /** Starts the reader; the agent's own thread is started by the manager. @param id 0..31. */
    SA(SM* sm, int id);

    /**
     * Ends both threads and so the connection of a client. Not so that of a client given up after a TIMED
     * message: it lasts as long as the process (kept). The reader object is not destroyed here either (kept):
     * the thread registry does that at the end of the process.
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
     * Attaches a new connection. A former one is closed first, after the reader has taken the whole messages that have
     * arrived on it; waits until it is out of the way.
     * @return 1 when the connection was attached, and the agent owns it; 0 for null, and when the agent is
     * stopping.
     */
    int set(JSocket* s);

    /**
     * One step of closing, by state: from 2 to 3; from 3 to 4, closing the socket; in 4 waits for the reader
     * to let go of the socket and destroys it; nothing in 0 and 1. The reader itself only ever does the
     * first: it never waits for itself.
     */
    void close();

    /** Asks client 0 to bring this client up: a SYNC message from reqid() about this id. */
    void sync();

    /** Who asks: the sender of the first message in the queue, or this id when the queue is empty. For the
     *  agent's own thread, which is the one that takes messages out. */
    int reqid();

    /** Wakes the sending loop. */
    int notify();

    /** Tells the sending loop to end. */
    void stop();

private:
    friend class SM;

    enum State { NO_STATE = -1, ABSENT = 0, ASKED = 1, CONNECTED = 2, LOST = 3, CLOSED = 4 };

    // for the sending loop
    void awaitStep(bool waiting, long long deadline);
    void awaitDeadline(long long deadline);
    void step(bool waiting, long long& deadline);
    void ask(long long& deadline);
    void sendNext();
    bool deliverAtOnce(jay::detail::Burst& burst);
    void startTimer(M& m);
    void sent(int result);
    void logLostMessage() const;
    bool expired() const;
    bool closeStep();
    bool destroySocket();

    // for the reader, which uses nothing else
    JSocket* borrowSocket();
    bool isRetired() const;
    void received(std::vector<std::unique_ptr<M>>& messages);
    void endConnection();
    void giveSocketBack();

    // for the manager and the listener
    void adoptQuietly(M* m);
    void adoptQuietly(const std::vector<jay::detail::Broadcast*>& broadcasts);
    void deliver(jay::detail::Burst& burst);
    void stopReader();
    void endReader();
    bool stopping();
    bool replaceable();
    bool attach(JSocket* s);
    void tell(SM::ClientStatus& status);

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

    std::unique_ptr<jay::detail::Outbox> outbox;  // used under lock
    bool held;  // whether what waits is held back, for the client has ended its side; the sending loop only
};

/**
 * The thread that reads one client's messages. Belongs to its agent, of which it uses few operations: it borrows the
 * socket, hands over what it has read, says that the connection is over, and gives the socket back.
 */
class JAY_API SA::SAReader : public JThread {
public:
    static const JClass classSAReader;

    explicit SAReader(SA* agent);  ///< reads what comes for `agent`, which must outlive it
    ~SAReader() override;

    void run() override;

    /** Returns &classSAReader. */
    const JClass* getClass() const override;

    /** Whether it waits for a socket, and holds none. */
    bool idle();

    /** Tells it that its agent has a new socket. */
    int notify();

    /** Tells it to end. */
    void stop();

    /** Whether it has been told to end. */
    bool isStopping() const;

private:
    void serve(JSocket& from);
    void readMessages(JSocket& from);

    SA* agent;
    JEvent event;
    std::atomic<char> stopFlag;
    std::atomic<char> idleFlag;
};

#endif
