#ifndef JAY_TOOLS_JAY_MAILBOX_H
#define JAY_TOOLS_JAY_MAILBOX_H

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "bus/CA.h"
#include "bus/M.h"

/** A message that came, for which of our ids, and when. */
struct Arrival {
    std::unique_ptr<M> message;
    int client = 0;      ///< our id that received it; a broadcast apart, the message may name another one
    long long time = 0;  ///< milliseconds since 1970
    std::chrono::steady_clock::time_point moment;  ///< the same by a clock that is never set
};

/**
 * The messages that came for this process, in the order of their arrival, until the main thread takes them. There is one, because the
 * callback of a bus client has no argument of its own; it lives as long as the process.
 *
 * A bus client keeps messages itself, but hands them out band by band in turn, and has no descriptor to wait for.
 */
class Mailbox {
public:
    static Mailbox& get();

    /** Takes over every message that the client receives from now on. Before the client is started. */
    void attach(CA& client, int id);

    /** The next message; false when there is none. */
    bool take(Arrival& arrival);

    /** Readable as long as there are messages to take. */
    int descriptor() const { return fd_; }

private:
    Mailbox();

    static void receive(CA* client);
    void put(CA* client, Arrival arrival);

    const int fd_;      // an event whose count is not 0 as long as there are messages
    std::mutex mutex_;  // guards all below, which the clients' threads use
    std::deque<Arrival> arrivals_;
    std::map<CA*, int> ids_;
};

#endif
