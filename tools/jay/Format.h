#ifndef JAY_TOOLS_JAY_FORMAT_H
#define JAY_TOOLS_JAY_FORMAT_H

#include <optional>
#include <string_view>

/** What a file that is to be looked at holds. */
enum class Format {
    WIRE,  ///< bytes of one direction of a connection
    HEX,   ///< the same, as hexadecimal text
    DB     ///< a record database
};

/**
 * Finds out what bytes are; nothing if they look like none of these. A whole database is told from its header and records, a
 * capture from its first header, hexadecimal from being text; only then what looks like a damaged database is taken for one.
 */
std::optional<Format> recognise(std::string_view bytes);

#endif
