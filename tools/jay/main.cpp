/** @file jay: the message bus from the command line. */
#include "system/JSystem.h"
#include "tools/common/Startup.h"
#include "tools/jay/Command.h"
#include "tools/jay/Console.h"

namespace {

const char ABOUT[] = "jay - command-line client of the message bus";

const std::string FOOTER = R"(examples:
  jayd &                    start the server
  jay listen --id 7         connect as client 7 and print its messages
  jay send --to 7 hello     send a text to client 7
  jay echo --id 8 &         connect as client 8 and answer every message
  jay ping --to 8           measure round trips to client 8

Data goes to standard output, everything else to standard error.
'jay COMMAND --help' tells more.
)";

/** Runs the command that the command line names. */
Status run(CommandLine& line, int argc, char** argv) {
    bool debug = false;
    line.addFlag("--debug", debug, "Show the library's debug output");
    const auto commands = allCommands();
    std::vector<const CommandLine*> lines;
    for (const auto& command : commands) {
        CommandLine& described = line.addCommand(command->name(), command->summary());
        command->describe(described);
        lines.push_back(&described);
    }
    const CommandLine::Result result = line.read(argc, argv);
    if (result == CommandLine::WRONG) return WRONG_USE;
    if (result != CommandLine::READ) return result == CommandLine::SHOWN ? DONE : UNFINISHED;
    JSystem::debug(debug);
    std::size_t used = 0;
    while (!lines[used]->isUsed()) used++;
    if (!isOutputOpen() && commands[used]->writesOutput())
        return fail(UNFINISHED, "standard output is closed");
    return commands[used]->run();
}

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    ignoreBrokenPipes();
    CommandLine line("jay", ABOUT);
    line.setVersion("jay " JAY_VERSION);
    line.setFooter(FOOTER + exitStatusHelp("nothing came in time, nothing was found, or the output failed"));
    return run(line, argc, argv);
}
