#ifndef JAY_TOOLS_JAY_NUMBER_H
#define JAY_TOOLS_JAY_NUMBER_H

#include <optional>
#include <string_view>

/** The whole text as a number, decimal or, behind 0x, hexadecimal; nothing if it is none. What exceeds 64 bits becomes the largest or
 * smallest number, which is out of every range. */
std::optional<long long> readNumber(std::string_view text);

#endif
