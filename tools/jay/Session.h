#ifndef JAY_TOOLS_JAY_SESSION_H
#define JAY_TOOLS_JAY_SESSION_H

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "bus/CA.h"
#include "tools/jay/Client.h"
#include "tools/jay/IdClaims.h"
#include "tools/jay/Mailbox.h"
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
        OUTPUT_GONE,  ///< the program that reads standard output has ended
        LOST          ///< a connection is missing
    };

    static constexpr int FOR_EVER = Client::FOR_EVER;

    explicit Session(const Client& client);
    ~Session();

    /** Our ids, which are known from the construction on. */
    const Client& client() const { return client_; }

    /** Connects all ids. Blocks for up to 10 s for each, and for as long as a name look-up takes. @return DONE, or the status to end
     * with, the reason having been reported. */
    Status connect();

    bool isConnected();

    /** Sends a message from our first id. @return false when the connection is lost. */
    bool send(M& message);

    /** Sends a message over the connection of one of our ids, with the source that it has. */
    bool sendOver(int id, M& message);

    /**
     * Proves that a bus server is at the other end, and that it has read all that was sent: a message to our
     * own id comes back only through the server, and a server reads what a client sends in order. Other messages
     * that come meanwhile are kept for next().
     * @param ms gives up when nothing has come for so long.
     * @return DONE, or the status to end with, the reason having been reported.
     */
    Status confirm(int ms);

    /** connect() and confirm(), which waits as long as --timeout says, but at least 2 and at most 10 seconds. */
    Status open();

    /** The next message for us. The loss of the connection is reported. @param ms how long to wait, or FOR_EVER. */
    Event next(Arrival& arrival, int ms);

    /** How many messages have come that next() has not handed out. */
    int leftOver() const;

    /** The status of a command that a wait has ended so. */
    static Status statusOf(Event event);

private:
    int patience() const;
    std::vector<std::string> sendProbes();
    Event receive(Arrival& arrival, int ms, int output);
    Status report(Event event, int ms) const;
    std::string whyNotConnected() const;

    Client client_;
    IdClaims claims_;
    std::vector<std::unique_ptr<CA>> buses_;  // as client_.ids
    std::deque<Arrival> early_;               // came while confirm() waited
    bool proven_ = false;                     // a bus server has answered
};

#endif
