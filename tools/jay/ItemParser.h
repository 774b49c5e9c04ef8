#ifndef JAY_TOOLS_JAY_ITEMPARSER_H
#define JAY_TOOLS_JAY_ITEMPARSER_H

#include <string_view>

#include "tools/jay/Parsed.h"

/** The bytes of items in the text form, which Items.h describes. An error names the item by its place and tells what is expected. */
Parsed parseItems(std::string_view text);

#endif
