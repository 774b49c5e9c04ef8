#ifndef JAY_TOOLS_JAY_INBOX_H
#define JAY_TOOLS_JAY_INBOX_H

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "bus/CA.h"
#include "bus/M.h"

/** A message, to whom of us it came, and when. */
struct Arrival {
    std::unique_ptr<M> message;
    int client = 0;  ///< the id of ours that received it; broadcasts apart, the message may name another one
    long long time = 0;                            ///< milliseconds since 1970
    std::chrono::steady_clock::time_point moment;  ///< the same by a clock that is never set
};

/**
 * What has come for this process and waits for the main thread: messages, in the order of their arrival, and the
 * signals that ask it to end. There is one, because neither the callback of bus clients nor a signal handler
 * has an argument of its own. It lives as long as the process.
 *
 * A bus client keeps messages itself, but hands them out band by band in turn, and nothing that waits for it
 * can wait for a signal or a closed output as well; hence this place beside it.
 */
class Inbox {
public:
    static Inbox& get();

    /** Takes over every message that the client receives from now on. Before the client is started. */
    void attach(CA& client, int id);

    /** From now on SIGINT, SIGTERM and SIGHUP are noted instead of ending the process. Main thread. */
    void noteSignals();

    /** Whether a signal asked to end. */
    bool isStopped() const;

    /** The next message; false when there is none. */
    bool take(Arrival& arrival);

    /**
     * Waits for a message, for a signal, for the reader of `output` (a descriptor; -1 for none) to go away, or
     * for the time to pass.
     * @return false when the reader of the output is gone.
     */
    bool wait(int ms, int output);

    /** Waits until a write of up to PIPE_BUF bytes does not block. @return false when it would, and a signal asks to end. */
    bool waitForRoom(int output);

    /** Waits until a read of `input` does not block, which it does not at its end either. @return false when a signal
     * asks to end first, or the time is up. */
    bool waitForInput(int input, int ms);

private:
    Inbox();

    static void receive(CA* client);
    static void note(int signalNumber);
    bool waitFor(int descriptor, short what, int ms);

    std::mutex mutex_;  // guards all below, which the clients' threads use
    std::deque<Arrival> arrivals_;
    std::map<CA*, int> ids_;
};

#endif
