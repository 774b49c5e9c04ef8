/** @file What may be shown on a terminal that speaks UTF-8. */
#ifndef JAY_TOOLS_COMMON_HARMLESS_H
#define JAY_TOOLS_COMMON_HARMLESS_H

#include <cstddef>
#include <string>
#include <string_view>

/** What stands at the head of some bytes: a character and its length, or a byte that is none. */
struct Head {
    bool isCharacter = false;
    unsigned long character = 0;
    std::size_t length = 1;
};

/** @param bytes not empty. */
Head headOfUtf8(std::string_view bytes);

/** A control character (U+0000 to U+001F, U+007F to U+009F), a surrogate, or beyond the last character: no part of a text. */
bool isControl(unsigned long character);

/** Whether the character does no harm on a terminal: it is not a control character, and changes neither the order of others, as U+202E does,
 * nor their line. */
bool isShowable(unsigned long character);

/** The character in its shortest form. */
std::string utf8(unsigned long character);

/** `\xHH` */
std::string escapedByte(char byte);

/** A line for the user with all that could harm a terminal as `\xHH`; backslashes stay as they are. */
std::string harmless(std::string_view line);

#endif
