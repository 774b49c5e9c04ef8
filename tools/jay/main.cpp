/** @file jay: the message bus from the command line. */
#include <cerrno>
#include <CLI/CLI.hpp>
#include <cstring>
#include <iostream>
#include <string>

#include "system/JSystem.h"
#include "tools/common/Harmless.h"
#include "tools/common/Startup.h"
#include "tools/jay/Command.h"
#include "tools/jay/Console.h"

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

/** One line that says what is wrong and where to read more. */
std::string explain(const CLI::App* app, const CLI::Error& error) {
    std::string command = "jay";
    for (const CLI::App* used : app->get_subcommands()) command += " " + used->get_name();
    return "jay: " + harmless(error.what()) + "; '" + command + " --help' shows what can be said\n";
}

/** Shown text counts only if it arrived. */
Status helpShown() {
    if (std::cout.flush()) return DONE;
    if (errno == EPIPE) return DONE;  // `head` has seen enough
    complain(std::string("cannot write: ") + std::strerror(errno));
    return UNFINISHED;
}

Status runUsed(const std::vector<std::unique_ptr<Command>>& commands, const CLI::App& app) {
    for (const auto& command : commands) {
        if (app.got_subcommand(command->name())) return command->run();
    }
    return WRONG_USE;
}

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    ignoreBrokenPipes();

    CLI::App app(ABOUT, "jay");
    bool debug = false;
    app.add_flag("--debug", debug, "Show the library's debug output");
    app.set_version_flag("--version", "jay " JAY_VERSION, "Print the version");
    app.footer(FOOTER);
    app.require_subcommand(0, 1);  // without any, the unknown word is what an error should name
    app.callback([&app] {
        if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
    });
    app.fallthrough();  // --debug and --version may stand behind the command, too
    app.failure_message(explain);

    const auto commands = allCommands();
    for (const auto& command : commands) {
        command->describe(*app.add_subcommand(command->name(), command->summary()));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? helpShown() : WRONG_USE;
    }
    JSystem::debug(debug);
    return runUsed(commands, app);
}
