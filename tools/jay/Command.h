#ifndef JAY_TOOLS_JAY_COMMAND_H
#define JAY_TOOLS_JAY_COMMAND_H

#include <memory>
#include <vector>

#include "tools/jay/CommandLine.h"
#include "tools/jay/Status.h"

/**
 * One command: `jay NAME ...`. Each has a file of its own in commands/; a new one is also named in commands/registry.cpp.
 */
class Command {
public:
    Command() = default;
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    virtual const char* name() const = 0;

    /** One line for the list of commands. */
    virtual const char* summary() const = 0;

    /** Adds the options, whose values are stored in this object when the command line is read. */
    virtual void describe(CommandLine& line) = 0;

    /** Whether run() writes to standard output. Then it is not called while that is closed: a message that nobody can see would
     * be lost. */
    virtual bool writesOutput() const { return true; }

    /** Does the work. Called once, if the command line names this command and is right. */
    virtual Status run() = 0;
};

/** All commands, in the order in which the help lists them. */
std::vector<std::unique_ptr<Command>> allCommands();

#endif
