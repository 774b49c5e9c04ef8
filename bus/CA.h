#ifndef JAY_BUS_CA_H
#define JAY_BUS_CA_H

#include <atomic>

#include "bus/M.h"
#include "core/JString.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"
#include "thread/JQueue.h"
#include "thread/JThread.h"

class JSocket;

/**
 * A bus client. Sends on the caller's thread; a thread of its own reads what the server delivers and sorts it
 * into three bands by priority (0, 1, all others), from which get() takes in turn:
 *
 *     CA bus(5, "127.0.0.1", 7000);
 *     bus.start();
 *     if (!bus.connect()) ...
 *     M hello;
 *     hello.setSrcId(5);
 *     hello.setDestId(7);
 *     hello.addString("hello");
 *     bus.put(hello);
 *     if (bus.wait(1000) > 0) { M* answer = bus.get(); ... delete answer; }
 *
 * A client connects once. When the connection is lost it stays so, and isConnected() tells; messages received
 * until then can still be taken. The bands have no practical bound: what the application does not take is
 * kept in memory.
 *
 * Threads: any thread may call any operation. The callback runs on the reading thread with no lock held; it
 * may call get(), put() and all else, and may delete the client.
 */
class JAY_API CA : public JThread {
public:
    static const JClass classCA;

    /** Nothing is connected or started. @param id this client's id, 0..31. @param host name or dotted
     * address, copied.
     *  @param port the server's TCP port. */
    CA(int id, const char* host, int port);

    /**
     * Closes the connection and waits for the reading thread, a callback in progress included. Messages not
     * taken are lost. No other thread may call in any more; one that is stuck in put() meanwhile is let go
     * within moments, with 0.
     */
    ~CA() override;

    /** The reading loop, on the client's own thread. */
    void run() override;

    /** Returns &classCA. */
    const JClass* getClass() const override;

    /**
     * Connects and greets the server. Blocks for up to 10 s, and for as long as a name look-up takes.
     * @return non-zero when connected. A refused connection counts as connected until the first write or read
     * (kept: see JSocket::connect()).
     */
    int connect();

    /**
     * Sends a message. Its length is set, and its time stamp too unless it is TIMED. Blocks while the server
     * does not read, up to 10 s for each wait.
     * @return 1 when it was sent, and also when there is no connection (kept: see isConnected()); 0 when the
     * write failed or the message is longer than M::MAX_SIZE.
     */
    int put(M& m);

    /** The next message, taking the three bands in turn, owned by the caller; null when all are empty. */
    M* get();

    /** The message that get() would return now; still owned by the client and good until it is taken. */
    M* peek();

    /** A copy of the message that get() would return now, owned by the caller; null when there is none. Safe
     * while other threads take messages. */
    M* copyNext();

    /** Passes over the band whose turn it is; nothing is removed. */
    void next();

    /** Waits for a message; see JEvent::wait(). @param ms milliseconds, -1 for ever.
     *  @return how many were signalled since the last wait, or -1 when the time was up. */
    int wait(int ms);

    /** Whether the connection stands, as far as is known: a loss is noticed when something is read or written. */
    bool isConnected();

    /** Calls `fn` after each message received; null for none. */
    void setEventCallback(void (*fn)(CA*));

    /** Tells the reading loop to end; it looks after the next message or read time-out. */
    void stop();

private:
    class Watch;

    static constexpr int BANDS = 3;

    void readMessages();
    bool deliver(M* m);
    JQueue& bandUnderCursor();
    bool passEmptyBand(unsigned start);

    int id;
    JString host;
    int port;
    JEvent connectEvent;
    JEvent messageEvent;
    JLock lock;  // guards the socket's output, the bands, the cursor and the callback
    std::atomic<char> stopFlag;
    std::atomic<char> doneFlag;
    JQueue* bands[BANDS];
    unsigned cursor;
    JSocket* socket;  // never null, never replaced
    void (*callback)(CA*);

    bool* destroyed;  // where run() looks whether the callback deleted this client; the reading thread only
};

#endif
