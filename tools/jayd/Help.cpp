#include "tools/jayd/Help.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/common/DefaultPort.h"
#include "tools/jayd/Status.h"

namespace {

const char HELP[] =
    R"(jayd - message bus server for up to 32 client programs

usage: jayd [--port N] [--listen-all] [--log FILE] [--pid-file FILE] [--quiet]

  -p, --port N         TCP port to listen on, 1 to 65535 (default )";

const char HELP_CONTINUED[] = R"()
      --listen-all     accept clients on other machines, too
      --local-only     accept clients on this machine only: the default
      --log FILE       append all output to this file, not to standard error
      --pid-file FILE  keep the process id in this file while the server listens
  -q, --quiet          do not log each message and connection, only errors
  -V, --version        print the version
  -h, --help           print this text

jayd stays in the foreground. It writes a line to standard error when it is
ready, and notifies a service manager (systemd, Type=notify). There is no
authentication: with --listen-all every machine that reaches the port can be
any client, so keep it behind a firewall.

signals:
  SIGTERM, SIGINT      end within two seconds, whatever the clients do
  SIGHUP               open the log file again, for log rotation
  SIGUSR1              write each client's state, waiting messages and address

examples:
  jayd                           serve on the default port and log each message
  jayd --port 7000 --quiet &     serve on port 7000 in the background
  kill -USR1 $!                  show which clients are connected
  kill $!                        end it
  jayd --log jayd.log --pid-file jayd.pid &

  jay listen --id 7              a client that prints its messages
  jay send --to 7 hello          see 'jay --help'

exit status: 0 ended by a signal; 1 cannot serve, for example because the port
  is in use; 2 wrong use
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
