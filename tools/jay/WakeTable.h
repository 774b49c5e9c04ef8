#ifndef JAY_TOOLS_JAY_WAKETABLE_H
#define JAY_TOOLS_JAY_WAKETABLE_H

#include <map>
#include <string>

/**
 * Which command brings which client up. A line per client: its id, blanks, and the command, which the shell gets as it
 * stands. Empty lines, and lines whose first character is "#", are comments.
 */
struct WakeTable {
    std::map<int, std::string> commands;  ///< by id, 1..31: client 0 is who reads this
    std::string error;                    ///< with the file and the line; empty when all went well

    static WakeTable read(const std::string& path);
};

#endif
