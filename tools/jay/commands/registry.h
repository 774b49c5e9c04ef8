#ifndef JAY_TOOLS_JAY_COMMANDS_REGISTRY_H
#define JAY_TOOLS_JAY_COMMANDS_REGISTRY_H

#include <memory>

#include "tools/jay/Command.h"

// One line per file of this folder.
std::unique_ptr<Command> makeDump();
std::unique_ptr<Command> makeListen();
std::unique_ptr<Command> makeSend();

#endif
