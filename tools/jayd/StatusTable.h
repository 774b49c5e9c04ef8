#ifndef JAY_TOOLS_JAYD_STATUSTABLE_H
#define JAY_TOOLS_JAYD_STATUSTABLE_H

#include <chrono>
#include <string>

#include "bus/SM.h"

/** A server's status as lines for people: totals, and a row for each client that has ever been seen. */
std::string statusTable(const SM::Status& status, int port, std::chrono::seconds up);

/** The same in one short line, without its end. */
std::string statusLine(const SM::Status& status, int port);

#endif
