#include <fcntl.h>
#include <fmt/core.h>
#include <signal.h>
#include <string>
#include <unistd.h>

#include "bus/M.h"
#include "system/JSystem.h"
#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/Files.h"
#include "tools/jay/Launcher.h"
#include "tools/jay/Output.h"
#include "tools/jay/Session.h"
#include "tools/jay/WakeTable.h"
#include "tools/jay/Words.h"

namespace {

constexpr int TICK_MS = 100;  // how often it looks whether a command has ended

const std::string EXAMPLES = R"(Connects as client 0, which the server asks to wake clients that have messages
waiting but are not connected. For each request it starts the command of that
client. TABLE has one line for each client; a line that begins with # is a
comment:

  # id  command
  5     /usr/bin/player --bus 5
  7     exec jay echo --id 7

The shell runs the commands. They have no input; their output goes to standard
error. A command that is still running is not started again. One that fails is
not started for --backoff, which doubles with each failure up to
--backoff-most; a request that comes meanwhile is kept. A command that ended
with status 0 or ran for --steady starts from --backoff again.
SIGHUP reads TABLE again; a table with an error is ignored. Commands go on
running when jay wake ends.
--json writes a line for each event: request, started, running, waiting,
unknown, ended, killed, failed, reloaded.

examples:
  jay wake /etc/jay/wake.table
  jay wake --json --backoff 5000 wake.table | logger -t wake
)";

volatile sig_atomic_t reloadWanted = 0;

void noteReload(int) {
    reloadWanted = 1;
}

/** Not before the session has its own way with signals. */
void reloadOnHangUp() {
    struct sigaction action {};
    action.sa_handler = noteReload;
    sigemptyset(&action.sa_mask);
    sigaction(SIGHUP, &action, nullptr);
}

const char* nameOf(Launcher::Event::Kind kind) {
    static constexpr const char* NAMES[] = {"started", "failed", "running", "waiting",
                                            "unknown", "ended",  "killed"};
    return NAMES[kind];
}

/** What happened to a command, as a sentence without the name of the client. */
std::string sentence(const Launcher::Event& event) {
    const std::string again = fmt::format("; not started again within {} ms, having failed {}", event.wait,
                                          counted(event.failures, "time"));
    switch (event.kind) {
        case Launcher::Event::STARTED:
            return fmt::format("started its command, process {}", event.pid);
        case Launcher::Event::NOT_STARTED:
            return "cannot make a process" + again;
        case Launcher::Event::RUNNING:
            return fmt::format("its command is still running, process {}; not started again", event.pid);
        case Launcher::Event::WAITING:
            return fmt::format("its command has failed; to be started in {} ms", event.wait);
        case Launcher::Event::UNKNOWN:
            return "no command for it in the table";
        case Launcher::Event::ENDED:
            return fmt::format("its command, process {}, has ended with status {}{}", event.pid, event.status,
                               event.status == 0 ? "" : again);
        case Launcher::Event::KILLED:
            return fmt::format("its command, process {}, was ended by a signal{}", event.pid, again);
    }
    return "";
}

class Wake : public Command {
public:
    Wake() : launcher_(pace_, [this](const Launcher::Event& event) { tell(event); }) {}

    const char* name() const override { return "wake"; }
    const char* summary() const override { return "As client 0, start clients that have messages waiting"; }

    void describe(CommandLine& line) override {
        line.addArgument("TABLE", path_, "The file with the command for each client");
        client_.describeServer(line);
        line.addNumber("--backoff", pace_.backoff, {}, "Time before a command that failed is started again",
                       "MS");
        line.addNumber("--backoff-most", pace_.mostBackoff, {}, "Longest such time", "MS");
        line.addNumber("--steady", pace_.steady, {}, "A command that ran this long did not fail to start",
                       "MS");
        line.addFlag("--skip-old", skipOld_, "Ignore requests that waited; the server repeats them");
        output_.describe(line);
        line.setFooter(EXAMPLES + exitStatusHelp("the output failed"));
    }

    bool writesOutput() const override { return output_.isJson(); }

    Status run() override {
        const WakeTable table = WakeTable::read(path_);
        if (!table.error.empty()) return fail(WRONG_USE, table.error);
        launcher_.setCommands(table.commands);
        if (!output_.isJson()) dropOutput();
        client_.ids = {0};
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        reloadOnHangUp();
        output_.note("waking {} as client 0 at {}", clients(table), client_.server());
        if (skipOld_) skip(session);
        return serve(session);
    }

private:
    /** Nothing is written there without --json, so the end of the reader must not end the command. */
    static void dropOutput() {
        const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nothing < 0) return;
        dup2(nothing, STDOUT_FILENO);
        close(nothing);
    }

    void skip(Session& session) const {
        const int old = session.leftOver();
        Arrival arrival;
        for (int i = 0; i < old; i++) session.next(arrival, 0);
        if (old > 0) output_.note("ignored {} that had waited", counted(old, "message"));
    }

    Status serve(Session& session) {
        Arrival arrival;
        for (;;) {
            const Session::Event event = session.next(arrival, TICK_MS);
            if (event == Session::MESSAGE) {
                take(*arrival.message);
            } else if (event != Session::TIME_UP) {
                tellOfRunning();
                return Session::statusOf(event);
            }
            launcher_.tick();
            if (reloadWanted != 0) reload();
            if (!writable_) return output_.status();
        }
    }

    void take(M& message) {
        const int client = message.getDestId();
        const int from = message.getSrcId();
        if ((message.getFlag() & M::M_FLAG_SYNC) == 0) {
            output_.note("ignored a message from client {}, which is not a request", from);
        } else if (client != 0) {  // about ourselves, from the time before we came
            output_.note("client {}: messages wait, the first from client {}", client, from);
            write(JsonObject().add("event", "request").add("client", client).add("source", from));
            launcher_.request(client);
        }
    }

    void reload() {
        reloadWanted = 0;
        const WakeTable table = WakeTable::read(path_);
        if (!table.error.empty()) return complain("{}; the table read before stays in use", table.error);
        launcher_.setCommands(table.commands);
        output_.note("read {} again: {}", shownPath(path_), clients(table));
        write(JsonObject().add("event", "reloaded").add("clients", table.commands.size()));
    }

    static std::string clients(const WakeTable& table) {
        return counted(static_cast<long long>(table.commands.size()), "client");
    }

    void tell(const Launcher::Event& event) {
        output_.note("client {}: {}", event.client, sentence(event));
        JsonObject object;
        object.add("event", nameOf(event.kind)).add("client", event.client);
        if (event.pid != 0) object.add("pid", event.pid);
        if (event.kind == Launcher::Event::ENDED) object.add("status", event.status);
        if (event.failures > 0) object.add("failures", event.failures).add("wait", event.wait);
        write(object);
    }

    void write(const JsonObject& event) {
        if (!output_.isJson()) return;
        JsonObject object;
        object.add("time", JSystem::getMilliseconds()).addAll(event);
        if (writable_) writable_ = output_.object(object);
    }

    void tellOfRunning() const {
        for (const auto& [client, pid] : launcher_.running())
            output_.note("client {}: its command, process {}, is left running", client, pid);
    }

    Client client_;
    std::string path_;
    Launcher::Pace pace_;
    bool skipOld_ = false;
    Output output_;
    Launcher launcher_;
    bool writable_ = true;
};

}  // namespace

std::unique_ptr<Command> makeWake() {
    return std::make_unique<Wake>();
}
