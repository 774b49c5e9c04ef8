#include "tools/jay/commands/registry.h"

std::vector<std::unique_ptr<Command>> allCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(makeListen());
    commands.push_back(makeSend());
    commands.push_back(makeRequest());
    commands.push_back(makePing());
    commands.push_back(makeEcho());
    commands.push_back(makeBench());
    commands.push_back(makeDump());
    commands.push_back(makeDb());
    commands.push_back(makeWake());
    return commands;
}
