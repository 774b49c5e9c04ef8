#include "tools/jay/Status.h"

std::string exitStatusHelp(const std::string& unfinished) {
    return "exit status:\n"
           "  0        done\n"
           "  1        " +
           unfinished +
           "\n"
           "  2        wrong use\n"
           "  3        no server, or the connection was lost\n"
           "  128 + N  ended by signal N; Ctrl-C: 130";
}
