/** @file What the tool writes. */
#ifndef JAY_TOOLS_JAY_CONSOLE_H
#define JAY_TOOLS_JAY_CONSOLE_H

#include <fmt/core.h>
#include <string>
#include <utility>

#include "tools/jay/Status.h"

/** A line for the user, on standard error, headed "jay: "; what could harm a terminal in it is escaped. */
void complain(const std::string& line);

/** The one way in which a command reports a failure: complain(), and the status to end with. */
Status fail(Status status, const std::string& why);

/** The same with values in the places of {}. */
template <typename First, typename... Rest>
void complain(fmt::format_string<First, Rest...> text, First&& first, Rest&&... rest) {
    complain(fmt::format(text, std::forward<First>(first), std::forward<Rest>(rest)...));
}
template <typename First, typename... Rest>
Status fail(Status status, fmt::format_string<First, Rest...> why, First&& first, Rest&&... rest) {
    return fail(status, fmt::format(why, std::forward<First>(first), std::forward<Rest>(rest)...));
}

/** Writes a line of data to standard output at once. @return 0, or the errno of the failure: EINTR when a signal
 * came while the output was full. */
int writeLine(const std::string& line);

#endif
