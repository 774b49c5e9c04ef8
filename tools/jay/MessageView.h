/** @file A bus message as the user sees it. All of it is safe to show on a terminal. */
#ifndef JAY_TOOLS_JAY_MESSAGEVIEW_H
#define JAY_TOOLS_JAY_MESSAGEVIEW_H

#include <string>

#include "bus/M.h"
#include "tools/jay/Json.h"
#include "tools/jay/Text.h"

/** How a payload is shown. */
struct PayloadView {
    Encoding encoding = Encoding::UTF_8;
    bool decode = false;  ///< tried as typed items first
    std::size_t most =
        0;  ///< a longer one is shortened to about as many columns, or bytes of a hex dump; 0: never
};

/** The bytes behind the header. */
std::string payloadOf(M& message);

/** "sync+timed", or "none"; bits that mean nothing as a number. */
std::string flagNames(int flag);

/** "14:03:22.417", local. @param ms since 1970. */
std::string clockTime(long long ms);

/** "5 -> 7  flag sync  priority 3  length 21  text hello"; what is 0 is left out, apart from the ids. */
std::string messageLine(M& message, const PayloadView& view);

/** All of the header, a field per line, and the payload as text or items and as a hex dump; indented, without the last
 * line end. */
std::string messageBlock(M& message, const PayloadView& view);

/** All of the header and the payload. Numbers are as on the wire; "flags" are names. */
JsonObject messageJson(M& message, const PayloadView& view);

#endif
