#include "tools/jayd/Serve.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <poll.h>
#include <signal.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>

#include "bus/SM.h"
#include "system/JSystem.h"
#include "tools/common/Startup.h"
#include "tools/jayd/Housekeeper.h"
#include "tools/jayd/Log.h"
#include "tools/jayd/PidFile.h"
#include "tools/jayd/ServiceManager.h"
#include "tools/jayd/Signals.h"
#include "tools/jayd/Status.h"

namespace {

constexpr int LISTEN_PATIENCE_MS = 5000;
constexpr int READY_PATIENCE_MS = 5000;  // a service manager that is not notified takes the server for broken
constexpr int STOPPING_PATIENCE_MS =
    200;  // with the next one, less than the two seconds that the end may take
constexpr std::chrono::milliseconds STOP_PATIENCE(1500);

std::string whyNot(int error, int port) {
    const std::string where = "port " + std::to_string(port);
    switch (error) {
        case EADDRINUSE:
            return where + " is in use, perhaps by another jayd; end that one, or choose another with --port";
        case EACCES:
            return "not allowed to listen on " + where + "; choose one above 1023 with --port";
        case -1:
            return where + " could not be opened within 5 seconds; is the machine overloaded?";
        default:
            return "cannot listen on " + where + ": " + std::strerror(error);
    }
}

/** The threads that run while jayd serves. */
struct Service {
    std::unique_ptr<SM> server;
    std::unique_ptr<Housekeeper> housekeeper;

    void end() {
        housekeeper.reset();
        server.reset();
    }
};

/** Ends the threads, but does not wait for ever. @return whether they have ended. */
bool endInTime(Service service) {
    std::packaged_task<void()> ending(
        [mine = std::make_shared<Service>(std::move(service))] { mine->end(); });
    const std::future<void> ended = ending.get_future();
    std::thread thread(std::move(ending));
    if (ended.wait_for(STOP_PATIENCE) != std::future_status::ready) {
        thread.detach();
        return false;
    }
    thread.join();
    return true;
}

/** A thread may be blocked in a write to a standard error that no program reads. The line is written only if that cannot block this
 * thread, too. */
[[noreturn]] void leaveWithoutThreads() {
    static const char line[] = "jayd: some threads did not end in time, leaving without them\n";
    pollfd out{STDERR_FILENO, POLLOUT, 0};
    if (poll(&out, 1, 0) == 1) {
        const ssize_t ignored = write(STDERR_FILENO, line, sizeof line - 1);
        static_cast<void>(ignored);
    }
    _exit(DONE);
}

std::unique_ptr<SM> makeServer(const Options& options) {
    JSystem::debug(!options.quiet);
    auto server = std::make_unique<SM>(options.port);
    server->setLocalOnly(!options.listenAll);
    server->start();
    return server;
}

int cannotServe(Log& log, const std::string& why) {
    JSystem::debug(false);  // only the line that follows is of use
    log.complain(why);
    return CANNOT_SERVE;
}

}  // namespace

int serve(const Options& options) {
    const Signals toEnd(SIGTERM, SIGINT);
    const Signals toKeepHouse(SIGHUP, SIGUSR1);
    toEnd.hold();
    toKeepHouse.hold();
    ignoreBrokenPipes();

    Log log(options.log);
    if (const std::string why = log.open(); !why.empty()) return cannotServe(log, why);
    PidFile pidFile(options.pidFile);
    if (const std::string why = pidFile.prepare(); !why.empty()) return cannotServe(log, why);

    Service service{makeServer(options), nullptr};
    const int error = service.server->waitUntilListening(LISTEN_PATIENCE_MS);
    if (error != 0) return cannotServe(log, whyNot(error, options.port));
    if (const std::string why = pidFile.publish(); !why.empty()) return cannotServe(log, why);

    const std::string listening = "listening on port " + std::to_string(options.port);
    log.announce(listening);
    log.started();
    tellServiceManager("READY=1\nSTATUS=" + listening, READY_PATIENCE_MS);
    service.housekeeper = std::make_unique<Housekeeper>(*service.server, options.port, log, toKeepHouse);

    toEnd.take();
    tellServiceManager("STOPPING=1\nSTATUS=ending", STOPPING_PATIENCE_MS);
    const bool inTime = endInTime(std::move(service));
    pidFile.remove();
    if (!inTime) leaveWithoutThreads();
    return DONE;
}
