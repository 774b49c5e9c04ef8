#ifndef JAY_TOOLS_JAY_WORDS_H
#define JAY_TOOLS_JAY_WORDS_H

#include <string>

/** "1 message", "2 messages". */
inline std::string counted(long long count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

#endif
