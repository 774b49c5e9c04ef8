#ifndef JAY_TOOLS_JAY_STOPSIGNALS_H
#define JAY_TOOLS_JAY_STOPSIGNALS_H

/**
 * The signals that ask the tool to end: SIGINT, SIGTERM and SIGHUP. Until watch() they end the process at once, as usual; from then on
 * they are noted, and end every wait of this class. For the main thread; other threads have the signals blocked.
 */
class StopSignals {
public:
    /** How a wait ended. */
    enum Wait {
        READY,    ///< the descriptor can be used
        TIME_UP,  ///< not within that time
        STOPPED   ///< a signal has come, and the descriptor is not ready
    };

    static void watch();

    /** The last signal that came; 0 when none has. */
    static int last();

    /** Readable from the first signal on. -1 before watch(). */
    static int descriptor();

    /** Waits for POLLIN or POLLOUT on a descriptor. @param ms how long; -1: without limit. */
    static Wait wait(int descriptor, short what, int ms);
};

#endif
