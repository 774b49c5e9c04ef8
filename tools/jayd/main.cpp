/** @file jayd: the bus server as a program that stays in the foreground until it is told to end. */
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <string>
#include <unistd.h>
#include <utility>

#include "bus/SM.h"
#include "system/JSystem.h"
#include "tools/common/Startup.h"
#include "tools/jayd/Options.h"

namespace {

enum Status { DONE = 0, CANNOT_SERVE = 1, WRONG_USE = 2 };

constexpr int LISTEN_PATIENCE_MS = 5000;
constexpr std::chrono::milliseconds STOP_PATIENCE(1500);

const char HELP[] =
    R"(jayd - the bus server: passes messages between up to 32 client programs on this machine

usage: jayd [--port N] [--quiet]

  -p, --port N     TCP port to listen on, 1 to 65535 (default )";

const char HELP_CONTINUED[] = R"()
  -q, --quiet      write no line for each message and connection, only errors and the line at the start
  -V, --version    print the version
  -h, --help       print this text

It stays in the foreground. Ctrl-C or SIGTERM ends it within two seconds, whatever its clients do; a hang-up
of the terminal does not. What it has to say goes to standard error, beginning with one line when it is ready.
It listens on every address of the machine: keep the port behind a firewall where the network is not yours.

examples:
  jayd                          serve on the default port, and watch the messages go by
  jayd --port 7000 --quiet &    serve on port 7000 in the background
  kill $!                       end it

  jay listen --id 7             a client that prints what comes; see 'jay --help'
  jay send --id 5 --to 7 hello

exit status: 0 ended by a signal, 1 cannot serve (the port is in use, say), 2 wrong use
)";

/** Shown text counts only if it arrived. */
int shown() {
    return std::fflush(stdout) == 0 ? DONE : CANNOT_SERVE;
}

int showHelp() {
    std::printf("%s%d%s", HELP, DEFAULT_PORT, HELP_CONTINUED);
    return shown();
}

int showVersion() {
    std::printf("jayd %s\n", JAY_VERSION);
    return shown();
}

/** Signals wait for takeStopSignal(): no thread of the library is ever interrupted by one. Before threads start. */
void holdSignals(sigset_t& held) {
    sigemptyset(&held);
    sigaddset(&held, SIGTERM);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

/** Waits for the signal to end. A hang-up is none: a server outlives the terminal it was started from. */
void takeStopSignal(const sigset_t& held) {
    int number = SIGHUP;
    while (sigwait(&held, &number) != 0 || number == SIGHUP) {
    }
}

std::string whyNot(int error, int port) {
    const std::string where = "port " + std::to_string(port);
    switch (error) {
        case EADDRINUSE:
            return where + " is in use, perhaps by another jayd; end that one, or choose another with --port";
        case EACCES:
            return "not allowed to listen on " + where + "; choose one above 1023 with --port";
        case -1:
            return "no answer within 5 seconds whether " + where + " can be had; is the machine overloaded?";
        default:
            return "cannot listen on " + where + ": " + std::strerror(error);
    }
}

/** A thread may hang in a write to a standard error that nobody reads any more; nobody would see the line then, and
 * it must not hang, too. */
[[noreturn]] void leaveWithoutThreads() {
    static const char line[] = "jayd: some threads did not end in time, leaving without them\n";
    pollfd out{STDERR_FILENO, POLLOUT, 0};
    if (poll(&out, 1, 0) == 1) {
        const ssize_t ignored = write(STDERR_FILENO, line, sizeof line - 1);
        static_cast<void>(ignored);
    }
    _exit(DONE);
}

/** Ends the server's threads, but does not wait for ever. */
void end(std::unique_ptr<SM> server) {
    const auto ending = std::async(std::launch::async, [&server] { server.reset(); });
    if (ending.wait_for(STOP_PATIENCE) != std::future_status::ready) leaveWithoutThreads();
}

int serve(const Options& options) {
    sigset_t held;
    holdSignals(held);
    ignoreBrokenPipes();
    JSystem::debug(!options.quiet);

    auto server = std::make_unique<SM>(options.port);
    server->start();
    const int error = server->waitUntilListening(LISTEN_PATIENCE_MS);
    if (error != 0) {
        JSystem::debug(false);  // the one line that follows says it all
        std::fprintf(stderr, "jayd: %s\n", whyNot(error, options.port).c_str());
        return CANNOT_SERVE;
    }
    std::fprintf(stderr, "jayd: listening on port %d\n", options.port);
    takeStopSignal(held);
    end(std::move(server));
    return DONE;
}

}  // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    const Options options = Options::parse(argc, argv);
    switch (options.action) {
        case Options::SHOW_HELP:
            return showHelp();
        case Options::SHOW_VERSION:
            return showVersion();
        case Options::REFUSE:
            return WRONG_USE;
        default:
            return serve(options);
    }
}
