/** @file How bytes that may be anything are shown on a terminal. */
#ifndef JAY_TOOLS_JAY_PAYLOAD_H
#define JAY_TOOLS_JAY_PAYLOAD_H

#include <string>
#include <string_view>

/** Whether the bytes are UTF-8 without any control character (U+0000 to U+001F, U+007F to U+009F): safe to show. */
bool isPlainText(std::string_view bytes);

/** "text hello", or "hex 05 68 00" when the bytes are no plain text, or "empty". Always one line. */
std::string shownPayload(std::string_view bytes);

#endif
