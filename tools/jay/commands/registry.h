#ifndef JAY_TOOLS_JAY_COMMANDS_REGISTRY_H
#define JAY_TOOLS_JAY_COMMANDS_REGISTRY_H

#include <memory>

#include "tools/jay/Command.h"

// One line per file of this folder.
std::unique_ptr<Command> makeBench();
std::unique_ptr<Command> makeDb();
std::unique_ptr<Command> makeDump();
std::unique_ptr<Command> makeEcho();
std::unique_ptr<Command> makeListen();
std::unique_ptr<Command> makePing();
std::unique_ptr<Command> makeRequest();
std::unique_ptr<Command> makeSend();
std::unique_ptr<Command> makeWake();

#endif
