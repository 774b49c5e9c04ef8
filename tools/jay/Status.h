#ifndef JAY_TOOLS_JAY_STATUS_H
#define JAY_TOOLS_JAY_STATUS_H

#include <string>

/**
 * The exit status of every command. The rule is this: 0 when the command has done what it was asked for, also when the program that
 * reads its output ends first; 1 to 3 as below; 128 + N when signal N ended it, whatever it had done until then: 130 for Ctrl-C.
 */
enum Status : int {
    DONE = 0,
    UNFINISHED =
        1,          ///< not done: nothing came in time, nothing was found, or the output could not be written
    WRONG_USE = 2,  ///< wrong command line, or an input that cannot be used
    NO_SERVER = 3   ///< no server, or the connection was lost
};

/** The status of a command that a signal has ended. */
constexpr Status endedBy(int signal) {
    return static_cast<Status>(128 + signal);
}

/** The end of a command's help. @param unfinished what status 1 means there. */
std::string exitStatusHelp(const std::string& unfinished);

#endif
