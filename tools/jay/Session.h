#ifndef JAY_TOOLS_JAY_SESSION_H
#define JAY_TOOLS_JAY_SESSION_H

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "bus/CA.h"
#include "tools/jay/Client.h"
#include "tools/jay/Inbox.h"
#include "tools/jay/Status.h"

/**
 * The tool's connections to a bus server, one for each of its ids, and the one place that knows how to tell whether they
 * are live ones. They live and are lost together.
 */
class Session {
public:
    /** How a wait ended. */
    enum Event {
        MESSAGE,
        TIME_UP,
        STOPPED,      ///< a signal asked to end
        OUTPUT_GONE,  ///< nobody reads standard output any more
        LOST          ///< a connection is missing
    };

    static constexpr int FOR_EVER = Client::FOR_EVER;

    explicit Session(const Client& client);
    ~Session();

    /** Blocks for up to 10 s for each id, and for as long as a name look-up takes. @return false, told to the user, when
     * there is no connection. */
    bool connect();

    bool isConnected();

    /** Sends a message from our first id. @return false when the connection is lost. */
    bool send(M& message);

    /** Sends a message over the connection of one of our ids, with the source that it has. */
    bool sendOver(int id, M& message);

    /**
     * Proves that a bus server is at the other end, and that it has read all that was sent: a message to our
     * own id comes back only through the server, and a server reads what a client sends in order. What else
     * comes meanwhile is kept for next().
     * @param ms gives up when nothing has come for so long.
     * @return false, told to the user, when the proof did not come.
     */
    bool confirm(int ms);

    /** The same as the first thing, with the patience that goes with the user's --timeout: of 2 to 10 seconds. */
    bool open() { return connect() && confirm(patience()); }

    /** The next message for us. The loss of the connection is told to the user. @param ms how long to wait, or
     * FOR_EVER. */
    Event next(Arrival& arrival, int ms);

    /** How many messages came that nobody took with next(). */
    int leftOver() const;

    /** The status of a command that connect(), confirm() or open() let down, or next() with LOST or STOPPED. */
    static Status failure();

private:
    int patience() const;
    std::vector<std::string> sendProbes();
    Event receive(Arrival& arrival, int ms, int output);
    void tell(Event event, int ms) const;

    Client client_;
    std::vector<std::unique_ptr<CA>> buses_;  // as client_.ids
    std::deque<Arrival> early_;               // came while confirm() waited
    bool proven_ = false;                     // a bus server has answered
};

#endif
