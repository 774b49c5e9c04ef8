#ifndef JAY_TOOLS_JAY_STATUS_H
#define JAY_TOOLS_JAY_STATUS_H

/** Exit status of every subcommand. */
enum Status {
    DONE = 0,
    UNFINISHED = 1,  ///< nothing came in time, it was interrupted, or the output could not be written
    WRONG_USE = 2,
    NO_SERVER = 3  ///< cannot connect, or lost the server
};

#endif
