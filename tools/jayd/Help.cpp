#include "tools/jayd/Help.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/common/DefaultPort.h"
#include "tools/jayd/Status.h"

namespace {

const char HELP[] =
    R"(jayd - the bus server: passes messages between up to 32 client programs on this machine

usage: jayd [--port N] [--local-only] [--log FILE] [--pid-file FILE] [--quiet]

  -p, --port N         TCP port to listen on, 1 to 65535 (default )";

const char HELP_CONTINUED[] = R"()
      --local-only     close connections from other machines at once
      --log FILE       append what it has to say to the file instead of standard error
      --pid-file FILE  keep its process id in the file from when it listens until it ends
  -q, --quiet          write no line for each message and connection, only errors and the line at the start
  -V, --version        print the version
  -h, --help           print this text

It stays in the foreground. What it has to say goes to standard error, beginning with one line when it is ready;
a service manager (systemd, Type=notify) is told as well. Without --local-only every machine that reaches the port
can take part: keep it behind a firewall where the network is not yours.

signals:
  SIGTERM, SIGINT      end within two seconds, whatever the clients do
  SIGHUP               open the log file anew, after it was renamed; the hang-up of a terminal does not end jayd
  SIGUSR1              write a table: for each client its state, waiting messages, and where it is connected from

examples:
  jayd                              serve on the default port, and watch the messages go by
  jayd --port 7000 --quiet &        serve on port 7000 in the background
  kill -USR1 $!                     show who is connected
  kill $!                           end it
  jayd --local-only --log jayd.log --pid-file jayd.pid &

  jay listen --id 7                 a client that prints what comes; see 'jay --help'
  jay send --id 5 --to 7 hello

exit status: 0 ended by a signal, 1 cannot serve (the port is in use, say), 2 wrong use
)";

int shown() {
    if (std::fflush(stdout) == 0) return DONE;
    std::fprintf(stderr, "jayd: cannot write: %s\n", std::strerror(errno));
    return CANNOT_SERVE;
}

}  // namespace

int showHelp() {
    std::printf("%s%d%s", HELP, DEFAULT_PORT, HELP_CONTINUED);
    return shown();
}

int showVersion() {
    std::printf("jayd %s\n", JAY_VERSION);
    return shown();
}
