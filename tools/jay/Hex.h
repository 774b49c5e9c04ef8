/** @file Bytes in hexadecimal: as users type and paste them, and as a dump shows them. */
#ifndef JAY_TOOLS_JAY_HEX_H
#define JAY_TOOLS_JAY_HEX_H

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/jay/Parsed.h"

/**
 * Reads bytes written as pairs of digits, in either case. Between the bytes may stand blanks, line ends, commas, colons,
 * and 0x before any; "#" begins a comment up to the end of its line. Lines of a dump are read, too, their offsets
 * and their text left out: those of hexDump(), `hexdump -C`, `xxd` and `tshark -x`.
 *
 * An error names line and column and what was found there.
 */
Parsed parseHex(std::string_view text);

/** "0a 1b 2c"; empty for no bytes. */
std::string hexBytes(std::string_view bytes);

/**
 * The bytes in lines of 16 with their offsets and as text, a dot for all but printable ASCII; the way of `hexdump -C`.
 * Each line ends in a newline. @param indent begins each line. @param offset of the first byte.
 */
std::string hexDump(std::string_view bytes, const std::string& indent = "", std::size_t offset = 0);

#endif
