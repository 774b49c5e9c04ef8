/** @file Whole files in memory. */
#ifndef JAY_TOOLS_JAY_FILES_H
#define JAY_TOOLS_JAY_FILES_H

#include <cstddef>
#include <string>

#include "tools/jay/Parsed.h"

/** Larger inputs are refused: no capture or database that a person can read is that large. */
constexpr std::size_t LARGEST_INPUT = std::size_t(256) << 20;

/**
 * All bytes of a file, a pipe, or standard input for "-". The error names the file and what is wrong with it: it is not
 * there, a directory, not to be read, or larger than LARGEST_INPUT. Takes the memory that the input has, not what it claims.
 */
Parsed readInput(const std::string& path);

/** The same for an input of which more than so many bytes are of no use: of a longer one it takes a few more, and leaves the
 * rest. */
Parsed readUpTo(const std::string& path, std::size_t limit);

/** The path as it is shown to the user: in quotes, and harmless; "standard input" for "-". */
std::string shownPath(const std::string& path);

#endif
