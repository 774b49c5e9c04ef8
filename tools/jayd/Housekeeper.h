#ifndef JAY_TOOLS_JAYD_HOUSEKEEPER_H
#define JAY_TOOLS_JAYD_HOUSEKEEPER_H

#include <atomic>
#include <chrono>
#include <thread>

#include "bus/SM.h"
#include "tools/jayd/Log.h"
#include "tools/jayd/Signals.h"

/**
 * The thread that does what SIGHUP and SIGUSR1 ask for: opens the log anew, writes the status. A thread of its own because
 * a write may hang for as long as nobody reads standard error. Signals that come while it is busy are done once.
 */
class Housekeeper {
public:
    /** Starts it; both have to outlive it. @param signals SIGHUP and SIGUSR1, held. */
    Housekeeper(SM& server, int port, Log& log, const Signals& signals);

    /** Waits for the thread, which may hang in a write. */
    ~Housekeeper();
    Housekeeper(const Housekeeper&) = delete;
    Housekeeper& operator=(const Housekeeper&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    void run();
    void reopenLog();
    void writeStatus();

    SM& server;
    const int port;
    Log& log;
    const Signals signals;
    const Clock::time_point start = Clock::now();
    std::atomic<bool> over{false};
    std::thread thread;  // the last: it uses all of the others
};

#endif
