#ifndef JAY_BUS_CM_H
#define JAY_BUS_CM_H

#include <atomic>
#include <vector>

#include "thread/JLock.h"
#include "thread/JThread.h"
#include "thread/JThreadSafety.h"

class JServerSocket;
class JSocket;
class SM;

namespace jay::detail {
struct CMPeer;  // for the library's own tests
}

/**
 * The server's listener: a thread that accepts connections, reads the greeting of each client (a 16-byte
 * message header, of which only the source id is used) and passes the connection to the manager. It reads one greeting
 * at a time: a client that connects and sends nothing delays the others until the read times out after 60 seconds
 * (kept: clients rely on it).
 *
 * A connection that sends nothing in that time, or whose id the manager refuses, stays open and unused (kept: the
 * peer gets no answer, and the connection is not closed). It is released when its peer closes it, or when the listener
 * is destroyed.
 *
 * If the manager serves its own machine only (SM::setLocalOnly()), the listener closes connections from other machines
 * without reading a greeting, and writes their addresses to the debug output.
 *
 * The manager makes, starts and destroys the listener. Threads: any thread may call stop().
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

    /** Makes the loop end, and wakes it if it waits. */
    void stop();

private:
    friend struct jay::detail::CMPeer;

    JAY_HIDDEN bool openListener();
    JAY_HIDDEN static bool isFromHere(JSocket& socket);
    JAY_HIDDEN bool refuses(JSocket& socket);
    JAY_HIDDEN void greet(JSocket* socket);
    JAY_HIDDEN void beginGreeting(JSocket* socket);
    JAY_HIDDEN void endGreeting();
    JAY_HIDDEN void releaseLeftBehind();

    SM* sm;
    int port;
    JServerSocket* serverSocket;
    std::atomic<bool> stopFlag;

    JLock lock;  // guards the creation of serverSocket and the next field against stop()
    JSocket* greeted JAY_GUARDED_BY(lock);  // the connection that is being greeted, or null
    std::vector<JSocket*> leftBehind;       // open and unused; the listener's thread only
};

#endif
