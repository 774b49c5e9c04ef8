#ifndef JAY_THREAD_DETAIL_PROCESSEND_H
#define JAY_THREAD_DETAIL_PROCESSEND_H

namespace jay::detail {

/**
 * The end of the process: exit(), or the return of main(). One thread runs run(); the others go on until it has ended
 * them one by one, in the order in which their objects were made.
 */
class ProcessEnd {
public:
    /** Ends every registered thread and deletes every object that can be deleted. */
    static void run();

    static bool hasBegun();

    /** How long to wait for the end of a thread, in ms: -1 for ever; limited once the end of the process has begun. */
    static int patience();

    /**
     * Called after a wait for a thread. If the process is ending on another thread, the main thread does not return from
     * here: it would go on to use and destroy what is being ended, or end the process itself with another status.
     */
    static void holdMainThread();
};

}  // namespace jay::detail

#endif
