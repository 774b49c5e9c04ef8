#ifndef JAY_TOOLS_JAY_ITEMGUESS_H
#define JAY_TOOLS_JAY_ITEMGUESS_H

#include <string_view>
#include <vector>

#include "tools/jay/Items.h"

/**
 * The items that a payload may have been made of, from its first byte to its last; empty if the payload does not look like items. The
 * wire carries no types, so this is a guess, and the rule is this:
 *
 * The fewest items that account for every byte, where a string is readable text and the upper half of the bits of a number is all zeros
 * or all ones; they count as items if there are at most two for three bytes and, where the whole payload is readable text, if all are
 * strings.
 *
 * Among as few items the first that differs is the shorter one. A var of one byte is given as `byte`. Readable text is UTF-8 or EUC-KR
 * with line ends and tabs. tools/wireshark/jaybus.lua follows the same rule. Takes time proportional to the size.
 *
 * @param payload outlives the items, whose texts are parts of it.
 */
std::vector<Item> guessItems(std::string_view payload);

#endif
