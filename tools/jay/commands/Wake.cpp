#include <fcntl.h>
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

std::string inMs(int ms) {
    return std::to_string(ms) + " ms";
}

/** What befell a command, as a sentence without the name of the client. */
std::string sentence(const Launcher::Event& event) {
    const std::string pid = std::to_string(event.pid);
    const std::string again = "; not started again within " + inMs(event.wait) + ", having failed " +
                              std::to_string(event.failures) + (event.failures == 1 ? " time" : " times");
    switch (event.kind) {
        case Launcher::Event::STARTED:
            return "started its command, process " + pid;
        case Launcher::Event::NOT_STARTED:
            return "cannot make a process" + again;
        case Launcher::Event::RUNNING:
            return "its command still runs, process " + pid + "; not started again";
        case Launcher::Event::WAITING:
            return "its command has failed; to be started in " + inMs(event.wait);
        case Launcher::Event::UNKNOWN:
            return "no command for it in the table";
        case Launcher::Event::ENDED:
            return "its command, process " + pid + ", has ended with status " + std::to_string(event.status) +
                   (event.status == 0 ? "" : again);
        case Launcher::Event::KILLED:
            return "its command, process " + pid + ", was ended by a signal" + again;
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
        if (!table.error.empty()) {
            complain(table.error);
            return WRONG_USE;
        }
        launcher_.setCommands(table.commands);
        if (!output_.isJson()) dropOutput();
        client_.ids = {0};
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        reloadOnHangUp();
        output_.note("waking " + clients(table) + " as client 0 at " + client_.server());
        if (skipOld_) skip(session);
        return serve(session);
    }

private:
    /** Nothing will be written there, so nobody needs to be there to read it. */
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
        if (old > 0)
            output_.note("left out " + std::to_string(old) + (old == 1 ? " message" : " messages") +
                         " that had waited");
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
        const std::string from = std::to_string(message.getSrcId());
        if ((message.getFlag() & M::M_FLAG_SYNC) == 0) {
            output_.note("a message from client " + from + " is no request; left out");
        } else if (client != 0) {  // about ourselves, from the time before we came
            output_.note("client " + std::to_string(client) + ": messages wait, the first from client " +
                         from);
            write(
                JsonObject().add("event", "request").add("client", client).add("source", message.getSrcId()));
            launcher_.request(client);
        }
    }

    void reload() {
        reloadWanted = 0;
        const WakeTable table = WakeTable::read(path_);
        if (!table.error.empty()) return complain(table.error + "; the table read before stays");
        launcher_.setCommands(table.commands);
        output_.note("read " + shownPath(path_) + " again: " + std::to_string(table.commands.size()) +
                     " clients");
        write(JsonObject().add("event", "reloaded").add("clients", table.commands.size()));
    }

    static std::string clients(const WakeTable& table) {
        const std::size_t n = table.commands.size();
        return std::to_string(n) + (n == 1 ? " client" : " clients");
    }

    void tell(const Launcher::Event& event) {
        output_.note("client " + std::to_string(event.client) + ": " + sentence(event));
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
            output_.note("client " + std::to_string(client) + ": its command, process " +
                         std::to_string(pid) + ", is left running");
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
