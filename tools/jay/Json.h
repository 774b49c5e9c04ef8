/** @file JSON of one line per object, as --json writes it. */
#ifndef JAY_TOOLS_JAY_JSON_H
#define JAY_TOOLS_JAY_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "tools/jay/Text.h"

/** Fields stay in the order in which they were added. */
using Json = nlohmann::ordered_json;

/** Adds some bytes: as "text" when they are text (line ends and tabs included), and always, whole, as "base64". */
void addBytes(Json& object, std::string_view bytes, Encoding encoding);

/** RFC 4648, with padding. */
std::string base64(std::string_view bytes);

/** One line without its end. Text that is no UTF-8 is shown with U+FFFD, so that this never fails. */
std::string jsonLine(const Json& object);

#endif
