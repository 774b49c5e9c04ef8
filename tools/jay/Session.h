#ifndef JAY_TOOLS_JAY_SESSION_H
#define JAY_TOOLS_JAY_SESSION_H

#include <deque>
#include <memory>

#include "bus/CA.h"
#include "tools/jay/Client.h"
#include "tools/jay/Inbox.h"

/** The tool's connection to a bus server, and the one place that knows how to tell whether it is a live one. */
class Session {
public:
    /** How a wait ended. */
    enum Event {
        MESSAGE,
        TIME_UP,
        STOPPED,      ///< a signal asked to end
        OUTPUT_GONE,  ///< nobody reads standard output any more
        LOST          ///< there is no connection (any more)
    };

    static constexpr int FOR_EVER = -1;

    explicit Session(const Client& client);

    /** Blocks for up to 10 s, and for as long as a name look-up takes. @return false, told to the user, when
     * there is no connection. */
    bool connect();

    /** Sends a message from us. @return false when the connection is lost. */
    bool send(M& message);

    /**
     * Proves that a bus server is at the other end, and that it has read all that was sent: a message to our
     * own id comes back only through the server, and a server reads what a client sends in order. What else
     * comes meanwhile is kept for next(). Gives up when nothing has come for 10 s.
     * @return false, told to the user, when the proof did not come.
     */
    bool confirm();

    /** The next message for us. The loss of the connection is told to the user. @param ms how long to wait, or
     * FOR_EVER. */
    Event next(Arrival& arrival, int ms);

    /** How many messages came that nobody took with next(). */
    int leftOver() const;

private:
    Event receive(Arrival& arrival, int ms, int output);
    void tell(Event event) const;

    Client client_;
    std::unique_ptr<CA> bus_;
    std::deque<Arrival> early_;  // came while confirm() waited
    bool proven_ = false;        // a bus server has answered
};

#endif
