#include "tools/jayd/Housekeeper.h"

#include <cstdio>
#include <pthread.h>
#include <signal.h>

#include "tools/jayd/ServiceManager.h"
#include "tools/jayd/StatusTable.h"

namespace {
constexpr int TELL_PATIENCE_MS = 200;
}

Housekeeper::Housekeeper(SM& manager, int listenPort, Log& logFile, const Signals& asked)
    : server(manager), port(listenPort), log(logFile), signals(asked), thread([this] { run(); }) {
}

Housekeeper::~Housekeeper() {
    over = true;
    pthread_kill(thread.native_handle(), SIGHUP);  // wakes it
    thread.join();
}

void Housekeeper::run() {
    for (;;) {
        const int number = signals.take();
        if (over) return;
        if (number == SIGHUP) {
            reopenLog();
        } else {
            writeStatus();
        }
    }
}

void Housekeeper::reopenLog() {
    const std::string trouble = log.open();
    if (!trouble.empty()) log.complain(trouble + "; going on in the old one");
}

void Housekeeper::writeStatus() {
    const SM::Status status = server.status();
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
    std::fputs(statusTable(status, port, up).c_str(),
               stderr);  // in one piece: no other thread's line gets in between
    tellServiceManager("STATUS=" + statusLine(status, port), TELL_PATIENCE_MS);
}
