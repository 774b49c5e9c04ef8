#ifndef JAY_TOOLS_JAY_WORDS_H
#define JAY_TOOLS_JAY_WORDS_H

#include <fmt/core.h>
#include <string>

/** "1 message", "2 messages". */
inline std::string counted(long long count, const char* noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

#endif
