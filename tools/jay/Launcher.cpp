#include "tools/jay/Launcher.h"

#include <algorithm>
#include <signal.h>
#include <utility>

#include "system/JSystem.h"

namespace {

/** What the tool ignores, its commands should not: a shell cannot undo it. Nothing is written meanwhile but to sockets,
 * which the library does without that signal. */
class BrokenPipesKill {
public:
    BrokenPipesKill() : before_(signal(SIGPIPE, SIG_DFL)) {}
    ~BrokenPipesKill() { signal(SIGPIPE, before_); }
    BrokenPipesKill(const BrokenPipesKill&) = delete;
    BrokenPipesKill& operator=(const BrokenPipesKill&) = delete;

private:
    void (*before_)(int);
};

}  // namespace

Launcher::Launcher(const Pace& pace, Reporter reporter, Now now)
    : pace_(pace), reporter_(std::move(reporter)), now_(std::move(now)) {
}

void Launcher::setCommands(const std::map<int, std::string>& commands) {
    commands_ = commands;
}

void Launcher::request(int client) {
    Child& child = children_[client];
    reap(client, child);
    if (commands_.count(client) == 0) return report(Event::UNKNOWN, client, child);
    if (child.pid != 0) return report(Event::RUNNING, client, child);
    if (waitOf(child) > 0) {
        child.asked = true;
        return report(Event::WAITING, client, child);
    }
    start(client, child);
}

void Launcher::tick() {
    for (auto& [client, child] : children_) {
        reap(client, child);
        if (child.asked && waitOf(child) == 0 && commands_.count(client) != 0) start(client, child);
    }
}

std::map<int, int> Launcher::running() const {
    std::map<int, int> pids;
    for (const auto& [client, child] : children_) {
        if (child.pid != 0) pids[client] = child.pid;
    }
    return pids;
}

/** What a command writes is for the user: standard output is for the data of the tool. */
void Launcher::start(int client, Child& child) {
    const BrokenPipesKill reset;
    const std::string command = "exec </dev/null >&2\n" + commands_[client];
    child.asked = false;
    child.started = now_();
    const int pid = JSystem::exec(command.c_str(), JSystem::EXEC_NOWAIT);
    if (pid > 0) {
        child.pid = pid;
        return report(Event::STARTED, client, child);
    }
    failed(child);
    report(Event::NOT_STARTED, client, child);
}

void Launcher::reap(int client, Child& child) {
    constexpr int BY_SIGNAL = -1;
    int status = BY_SIGNAL;  // pstatus() leaves it so
    if (child.pid == 0 || JSystem::pstatus(child.pid, &status) == 0) return;
    if (status == 0 || now_() - child.started >= milliseconds(pace_.steady)) child.failures = 0;
    if (status != 0) failed(child);
    report(status == BY_SIGNAL ? Event::KILLED : Event::ENDED, client, child, status);
    child.pid = 0;
}

void Launcher::failed(Child& child) const {
    long long wait = pace_.backoff;
    for (int i = 0; i < child.failures && wait < pace_.mostBackoff; i++) wait *= 2;
    child.failures++;
    child.notBefore = now_() + milliseconds(std::min<long long>(wait, pace_.mostBackoff));
}

int Launcher::waitOf(const Child& child) const {
    const auto left = std::chrono::ceil<milliseconds>(child.notBefore - now_()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

void Launcher::report(Event::Kind kind, int client, const Child& child, int status) const {
    Event event;
    event.kind = kind;
    event.client = client;
    event.pid = child.pid;
    event.status = status;
    event.failures = child.failures;
    event.wait = waitOf(child);
    reporter_(event);
}
