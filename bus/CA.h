#ifndef JAY_BUS_CA_H
#define JAY_BUS_CA_H

#include <atomic>

#include "bus/M.h"
#include "core/JString.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"
#include "thread/JQueue.h"
#include "thread/JThread.h"
#include "thread/JThreadSafety.h"

class JSocket;
namespace jay::detail {
struct CAPeer;
}

/**
 * A bus client. put() sends on the caller's thread. A thread of the client's own reads what the server delivers
 * and sorts it into three bands by priority (0, 1, all others), from which get() takes in turn:
 *
 *     CA bus(5, "127.0.0.1", 7000);
 *     bus.start();
 *     if (!bus.connect() || !bus.isConnected()) return 1;  // no server there
 *     M hello;
 *     hello.setSrcId(5);
 *     hello.setDestId(7);
 *     hello.addString("hello");
 *     bus.put(hello);
 *     for (bool connected = true; connected;) {
 *         bus.wait(1000);                 // whole seconds; returns at once when a message has arrived
 *         connected = bus.isConnected();  // asked before the messages are taken, so that none is left behind
 *         while (M* m = bus.get()) { ... delete m; }
 *     }
 *
 * A client connects once. When the connection is lost it stays lost, and isConnected() turns false; messages
 * received until then can still be taken. The loss wakes no thread in wait(): a loop that waits for ever, with
 * wait(-1), never ends after the server has gone. The bands have no practical bound: what the application does
 * not take is kept in memory.
 *
 * Threads: any thread may call any operation. The callback runs on the reading thread with no lock held; it
 * may call get(), put() and all else, and may delete the client.
 */
class JAY_API CA : public JThread {
public:
    static const JClass classCA;

    /** Does not connect, and does not start the thread. @param id this client's id, 0..31. @param host name or dotted
     * address of the server, copied. @param port the server's TCP port. */
    CA(int id, const char* host, int port);

    /**
     * Ends the connection behind everything that put() has sent, and waits until the server has read it and closes
     * its side: a second at most. What the server has not read by then still reaches it, unless its computer fails,
     * or messages for this client arrive after that: then the connection is reset. Waits for the reading thread too,
     * a callback in progress included.
     *
     * Messages not taken are lost, and messages that arrive meanwhile. No other thread may call in any more. One that
     * is still in put() returns within moments, with 0 if its message did not leave as a whole.
     */
    ~CA() override;

    /** The reading loop, on the client's own thread. */
    void run() override;

    /** Returns &classCA. */
    const JClass* getClass() const override;

    /**
     * Connects and greets the server. Blocks for up to 10 s, and for as long as a name look-up takes.
     * @return non-zero when connected, and also when nobody listens at the port (kept: see JSocket::connect()). The
     * greeting fails then: isConnected() is false when this returns. Zero for an unknown host, and after 10 s without
     * an answer.
     */
    int connect();

    /**
     * Sends a message. Its length is set, and its time stamp too unless it is TIMED. Blocks while the server
     * does not read, up to 10 s for each wait.
     * @return 1 if the message was sent, and also without a connection (kept: see isConnected()); 0 if the
     * write failed or the message is longer than M::MAX_SIZE.
     */
    int put(M& m);

    /** The next message: one from each of the three bands in turn. The caller deletes it. Null if all bands are empty. */
    M* get();

    /** The message that get() would return now. The client still owns it, and it is valid until it is taken. */
    M* peek();

    /** A copy of the message that get() would return now, owned by the caller; null when there is none. Safe
     * while other threads take messages. */
    M* copyNext();

    /** Skips the band whose turn it is; removes no message. */
    void next();

    /**
     * Waits for a message; see JEvent::wait(). A lost connection does not end the wait.
     * @param ms milliseconds: 0, or a multiple of 1000, or -1 for ever. Others may return at once without a message:
     * wait(500) does so in the second half of each second (kept: callers rely on JEvent::wait() as it is).
     * @return the number of signals that no wait() has consumed, at least 1, of which this call consumes one; -1 after the
     * time-out. Each message gives one signal, whether get() has taken the message or not.
     */
    int wait(int ms);

    /** Whether there is a connection. The reading thread notices its end; put() notices a server that does not answer.
     * Waits for a put() in progress in another thread. */
    bool isConnected();

    /** Calls `fn` after each message received; null for none. */
    void setEventCallback(void (*fn)(CA*));

    /** Makes the reading loop end, at the next message or read time-out. */
    void stop();

private:
    friend struct jay::detail::CAPeer;
    class Watch;

    static constexpr int BANDS = 3;

    JAY_HIDDEN void readMessages();
    JAY_HIDDEN bool deliver(M* m);
    JAY_HIDDEN bool passedEmptyBands();
    JAY_HIDDEN JQueue& band(unsigned step) JAY_REQUIRES(lock);
    JAY_HIDDEN M* peekUnderLock() JAY_REQUIRES(lock);

    int id;
    JString host;
    int port;
    JEvent connectEvent;
    JEvent messageEvent;
    JLock lock;  // guards the socket's output and the bands; whoever changes the callback holds it
    std::atomic<char> stopFlag;
    std::atomic<char> doneFlag;
    JQueue* bands[BANDS];  // the queues are guarded by lock, the pointers never change
    std::atomic<unsigned>
        cursor;       // moved on under lock, or without it while nothing waits: it only ever adds up
    JSocket* socket;  // never null, never replaced
    std::atomic<void (*)(CA*)> callback;  // set under lock; cleared at the end without it

    std::atomic<int> waiting;  // messages in the bands; changed under lock
    bool* destroyed;  // where run() looks whether the callback deleted this client; the reading thread only
};

#endif
