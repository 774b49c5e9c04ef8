/** @file jay: the message bus from the command line. */
#include "system/JSystem.h"
#include "tools/common/Startup.h"
#include "tools/jay/Command.h"

namespace {

const char ABOUT[] = "jay - the message bus from the command line";

const char FOOTER[] = R"(examples:
  jayd &                          the server that everything goes through
  jay listen --id 7               be client 7, and print what comes
  jay send --id 5 --to 7 hello    be client 5, and send a text to client 7
  jay echo --id 8 &               be client 8, and answer whoever writes
  jay ping --id 5 --to 8          how long does a round trip take?

Data goes to standard output, everything else to standard error.
exit status: 0 done; 1 nothing came in time, or interrupted; 2 wrong use; 3 no server, or lost it
'jay COMMAND --help' tells more.)";

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    ignoreBrokenPipes();

    CommandLine line("jay", ABOUT);
    bool debug = false;
    line.addFlag("--debug", debug, "Show the library's debug output");
    line.setVersion("jay " JAY_VERSION);
    line.setFooter(FOOTER);
    const auto commands = allCommands();
    std::vector<const CommandLine*> lines;
    for (const auto& command : commands) {
        CommandLine& described = line.addCommand(command->name(), command->summary());
        command->describe(described);
        lines.push_back(&described);
    }
    switch (line.read(argc, argv)) {
        case CommandLine::SHOWN:
            return DONE;
        case CommandLine::UNWRITTEN:
            return UNFINISHED;
        case CommandLine::WRONG:
            return WRONG_USE;
        case CommandLine::READ:
            break;
    }
    JSystem::debug(debug);
    std::size_t used = 0;
    while (!lines[used]->isUsed()) used++;
    return commands[used]->run();
}
