#ifndef JAY_TOOLS_JAYD_HOUSEKEEPER_H
#define JAY_TOOLS_JAYD_HOUSEKEEPER_H

#include <atomic>
#include <chrono>
#include <thread>

#include "bus/SM.h"
#include "tools/jayd/Log.h"
#include "tools/jayd/Signals.h"

/**
 * The thread that handles SIGHUP and SIGUSR1: it opens the log again and writes the status. It is a thread of its own because a
 * write may block as long as no program reads standard error. Signals that come while it is busy are handled once.
 */
class Housekeeper {
public:
    /** Starts the thread. Server and log must outlive it. @param signals SIGHUP and SIGUSR1, held. */
    Housekeeper(SM& server, int port, Log& log, const Signals& signals);

    /** Waits for the thread, which may be blocked in a write. */
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
