#include "tools/jayd/Help.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/common/DefaultPort.h"
#include "tools/jayd/Status.h"

namespace {

const char HELP[] =
    R"(jayd - the bus server: passes messages between up to 32 client programs on this machine

usage: jayd [--port N] [--listen-all] [--log FILE] [--pid-file FILE] [--quiet]

  -p, --port N         TCP port to listen on, 1 to 65535 (default )";

const char HELP_CONTINUED[] = R"()
      --listen-all     accept clients on other machines, too; without it only clients on this machine
      --local-only     accept clients on this machine only: the default
      --log FILE       append all output to this file instead of writing it to standard error
      --pid-file FILE  keep the process id in this file while the server is listening
  -q, --quiet          do not log each message and connection, only errors and the start
  -V, --version        print the version
  -h, --help           print this text

jayd stays in the foreground. It writes a line to standard error when it is ready, and notifies a service manager
(systemd, Type=notify). There is no authentication: with --listen-all every machine that reaches the port can be any
client, so keep it behind a firewall.

signals:
  SIGTERM, SIGINT      end within two seconds, whatever the clients do
  SIGHUP               open the log file again, for log rotation; closing the terminal does not end jayd
  SIGUSR1              write a status table: each client's state, waiting messages and address

examples:
  jayd                              serve on the default port and log each message
  jayd --port 7000 --quiet &        serve on port 7000 in the background
  kill -USR1 $!                     show which clients are connected
  kill $!                           end it
  jayd --log jayd.log --pid-file jayd.pid &

  jay listen --id 7                 a client that prints its messages; see 'jay --help'
  jay send --id 5 --to 7 hello

exit status: 0 ended by a signal; 1 cannot serve (for example, the port is in use); 2 wrong use
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
