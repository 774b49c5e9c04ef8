#ifndef JAY_TOOLS_JAYD_OPTIONS_H
#define JAY_TOOLS_JAYD_OPTIONS_H

#include <string>

#include "tools/common/DefaultPort.h"

/** What the command line of jayd asks for. */
struct Options {
    enum Action {
        SERVE,
        SHOW_HELP,
        SHOW_VERSION,
        REFUSE  ///< wrong use; the error has been printed
    };

    Action action = SERVE;
    int port = DEFAULT_PORT;  ///< 1..65535
    bool listenAll = false;   ///< serves other machines, too, instead of closing their connections
    bool quiet = false;       ///< no debug lines
    std::string log;          ///< the log file; empty: standard error
    std::string pidFile;      ///< empty: none

    /** Reads the command line with getopt_long(), which the C library has anyway: the library that `jay` uses would make jayd,
     * which is for devices, several times as large. */
    static Options parse(int argc, char** argv);
};

#endif
