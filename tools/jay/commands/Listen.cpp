#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/Payload.h"
#include "tools/jay/Session.h"

namespace {

constexpr double LONGEST_TIMEOUT_S = 1e6;

const char EXAMPLES[] = R"(Prints one line for each message, in the order of arrival:

  14:03:22.417  5 -> 7  flag sync  priority 3  section 0  length 21  text hello

The payload is shown as text if it is UTF-8 without control characters, else in hex. Length counts the header of
16 bytes. Flags: sync, broadcast, timed, none.
Ctrl-C ends it; so does the end of the program that reads its output.
To the server we are the client with that id: it closes the connection of the one that had it until now, and
delivers to us what waits for it.

examples:
  jay listen --id 7                         print what comes for client 7
  jay listen --id 0                         see which clients have messages waiting but are not connected
  jay listen --id 7 --count 1 --timeout 5   one message, if it comes within 5 seconds
exit status: 0 done; 1 --timeout passed, or Ctrl-C, before --count messages (without --count: one) had come;
2 wrong use; 3 no server, or lost it)";

std::string clockTime(long long ms) {
    const auto seconds = static_cast<std::time_t>(ms / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    const std::size_t n = std::strftime(text, sizeof text, "%H:%M:%S", &local);
    std::snprintf(text + n, sizeof text - n, ".%03d", static_cast<int>(ms % 1000));
    return text;
}

std::string flagNames(int flag) {
    struct Name {
        int bit;
        const char* text;
    };
    static constexpr Name NAMES[] = {
        {M::M_FLAG_SYNC, "sync"}, {M::M_FLAG_BROADCAST, "broadcast"}, {M::M_FLAG_TIMED, "timed"}};
    std::string names;
    for (const Name& name : NAMES) {
        if ((flag & name.bit) == 0) continue;
        names += (names.empty() ? "" : "+") + std::string(name.text);
        flag &= ~name.bit;
    }
    if (flag != 0) names += (names.empty() ? "" : "+") + std::to_string(flag);
    return names.empty() ? "none" : names;
}

std::string lineFor(Arrival& arrival) {
    M& m = *arrival.message;
    m.setPos(M::HEADER_SIZE);
    const JByte payload = m.getBytes(m.size() - M::HEADER_SIZE);
    return clockTime(arrival.time) + "  " + std::to_string(m.getSrcId()) + " -> " +
           std::to_string(m.getDestId()) + "  flag " + flagNames(m.getFlag()) + "  priority " +
           std::to_string(m.getPriority()) + "  section " + std::to_string(m.getSection()) + "  length " +
           std::to_string(m.size()) + "  " +
           shownPayload({static_cast<const char*>(payload), static_cast<std::size_t>(payload.size())});
}

class Listen : public Command {
public:
    const char* name() const override { return "listen"; }
    const char* summary() const override { return "Be a client, and print the messages that come"; }

    void describe(CLI::App& app) override {
        client_.describe(app);
        app.add_option("--count", count_, "End after so many messages; what else has come by then is lost")
            ->option_text("NUMBER")
            ->check(CLI::PositiveNumber);
        app.add_option("--timeout", timeout_, "End when no message has come for so many seconds")
            ->option_text("SECONDS")
            ->check(CLI::Range(0.0, LONGEST_TIMEOUT_S));
        app.footer(EXAMPLES);
    }

    Status run() override {
        Session session(client_);
        if (!session.connect() || !session.confirm()) return failed();
        complain("listening as client " + std::to_string(client_.id) + " at " + client_.server());
        return printMessages(session);
    }

private:
    /** Told already; without a word when the user interrupted. */
    static Status failed() { return Inbox::get().isStopped() ? UNFINISHED : NO_SERVER; }

    Status printMessages(Session& session) {
        const int wait = timeout_ < 0 ? Session::FOR_EVER : static_cast<int>(timeout_ * 1000);
        Arrival arrival;
        for (int printed = 0; printed < count_ || count_ == 0; printed++) {
            const Session::Event event = session.next(arrival, wait);
            if (event != Session::MESSAGE) return ended(event, printed);
            const int error = writeLine(lineFor(arrival));
            if (error == EPIPE) return DONE;
            if (error == EINTR) return UNFINISHED;
            if (error != 0) {
                complain(std::string("cannot write: ") + std::strerror(error));
                return UNFINISHED;
            }
        }
        return DONE;
    }

    Status ended(Session::Event event, int printed) const {
        if (event == Session::LOST) return NO_SERVER;
        if (event == Session::OUTPUT_GONE) return DONE;
        if (event == Session::STOPPED && count_ == 0) return DONE;
        return count_ == 0 && printed > 0 ? DONE : UNFINISHED;
    }

    Client client_;
    int count_ = 0;        // 0: no end
    double timeout_ = -1;  // negative: none
};

}  // namespace

std::unique_ptr<Command> makeListen() {
    return std::make_unique<Listen>();
}
