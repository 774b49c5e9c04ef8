#ifndef JAY_BUS_CM_H
#define JAY_BUS_CM_H

#include <atomic>
#include <vector>

#include "thread/JLock.h"
#include "thread/JThread.h"

class JServerSocket;
class JSocket;
class SM;

/**
 * The server's listener: a thread that accepts connections, reads each client's greeting (a bare 16-byte
 * message header, of which only the source id counts) and hands the connection to the manager. One connection
 * is greeted at a time: a client that connects and says nothing holds the others up until its read times out,
 * 60 seconds (kept).
 *
 * A connection that says nothing in that time, or whose id the manager refuses, is left open and unused
 * (kept: such a peer gets no answer, not even a close). It is released when its peer goes, or with the
 * listener.
 *
 * A manager that serves its own machine only (SM::setLocalOnly()) has connections from others closed instead of
 * greeted; the debug output tells their addresses.
 *
 * Made, started and destroyed by the manager. Threads: stop() may be called by any thread.
 */
class JAY_API CM : public JThread {
public:
    static const JClass classCM;

    /** Nothing happens before start(). @param port 1..65535. */
    CM(SM* sm, int port);

    /** stop(), waits for the thread, then releases the listening socket. */
    ~CM() override;

    /** The accept loop, on the listener's own thread. */
    void run() override;

    /** Returns &classCM. */
    const JClass* getClass() const override;

    /** Tells the loop to end, and wakes it wherever it waits. */
    void stop();

private:
    bool openListener();
    static bool isFromHere(JSocket& socket);
    bool refuses(JSocket& socket);
    void greet(JSocket* socket);
    void beginGreeting(JSocket* socket);
    void endGreeting();
    void releaseLeftBehind();

    SM* sm;
    int port;
    JServerSocket* serverSocket;
    std::atomic<bool> stopFlag;

    JLock lock;                        // guards serverSocket's making and the next field against stop()
    JSocket* greeted;                  // the connection that is being greeted, or null
    std::vector<JSocket*> leftBehind;  // open and unused; the listener's thread only
};

#endif
