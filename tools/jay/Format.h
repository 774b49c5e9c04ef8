#ifndef JAY_TOOLS_JAY_FORMAT_H
#define JAY_TOOLS_JAY_FORMAT_H

#include <optional>
#include <string_view>

/** The format of a file. */
enum class Format {
    WIRE,  ///< bytes of one direction of a connection
    HEX,   ///< the same, as hexadecimal text
    DB     ///< a record database
};

/**
 * Recognises the format of bytes; nothing if it is none of these. A whole database is recognised by its header and records,
 * hexadecimal by being text, a capture by its first header, and last a damaged database by its header.
 */
std::optional<Format> recognise(std::string_view bytes);

#endif
