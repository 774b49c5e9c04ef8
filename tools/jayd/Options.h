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
        REFUSE  ///< wrong use, which has been told on standard error
    };

    Action action = SERVE;
    int port = DEFAULT_PORT;  ///< 1..65535
    bool localOnly = false;   ///< closes connections from other machines
    bool quiet = false;       ///< no debug lines
    std::string log;          ///< the file for what it says; empty: standard error
    std::string pidFile;      ///< empty: none

    static Options parse(int argc, char** argv);
};

#endif
