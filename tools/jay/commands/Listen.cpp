#include <string>

#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Limits.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Output.h"
#include "tools/jay/Session.h"

namespace {

const char EXAMPLES[] = R"(Prints one line for each message, in the order of arrival:

  14:03:22.417  5 -> 7  flag sync  priority 3  section 0  length 21  text hello

The payload is shown as text if it is text without control characters, else in hex. Length counts the header of
16 bytes. Flags: sync, broadcast, timed, none.
Ctrl-C ends it; so does the end of the program that reads its output.
To the server we are the client with that id: it closes the connection of the one that had it until now, and
delivers to us what waits for it.

examples:
  jay listen --id 7                          print what comes for client 7
  jay listen --id 5,7 --verbose              for two clients, with all of the header and a hex dump
  jay listen --id 7 --decode                 payloads as typed items, where they look like some
  jay listen --id 7 --encoding euc-kr        payloads in Korean
  jay listen --id 7 --json | jq .text        for other programs
  jay listen --id 0                          see which clients have messages waiting but are not connected
  jay listen --id 7 --count 1 --timeout 5000 one message, if it comes within 5 seconds
exit status: 0 done; 1 --timeout or --for passed, or Ctrl-C, before --count messages (without --count: one) had
come; 2 wrong use; 3 no server, or lost it)";

class Listen : public Command {
public:
    const char* name() const override { return "listen"; }
    const char* summary() const override { return "Be a client, and print the messages that come"; }

    void describe(CommandLine& line) override {
        client_.describeSeveral(line, "End when no message has come for so long",
                                "Our id, or several; no other client uses them");
        limits_.describe(line, "End after so many messages; what else has come by then is lost");
        line.addFlag("-v,--verbose", verbose_, "Show all of the header, and the payload as a hex dump");
        line.addFlag("--decode", view_.decode, "Show a payload as typed items if it looks like some");
        output_.describe(line);
        line.setFooter(EXAMPLES);
    }

    Status run() override {
        Session session(client_);
        if (!session.open()) return Session::failure();
        output_.note("listening as " + client_.name() + " at " + client_.server());
        view_.encoding = output_.encoding();
        return printMessages(session);
    }

private:
    Status printMessages(Session& session) {
        limits_.start();
        Arrival arrival;
        for (int printed = 0; !limits_.isReached(printed); printed++) {
            const Session::Event event = session.next(arrival, limits_.wait(client_.timeout));
            if (event != Session::MESSAGE) return limits_.ended(event, printed);
            if (!print(arrival)) return output_.status();
        }
        return DONE;
    }

    bool print(Arrival& arrival) {
        M& message = *arrival.message;
        if (output_.isJson()) {
            JsonObject object;
            object.add("time", arrival.time).add("client", arrival.client);
            return output_.object(object.addAll(messageJson(message, view_)));
        }
        std::string text = clockTime(arrival.time) + "  " + messageLine(message, view_);
        if (verbose_) {
            text = clockTime(arrival.time) + "  for client " + std::to_string(arrival.client) + '\n' +
                   messageBlock(message, view_);
        }
        return output_.line(text);
    }

    Client client_;
    Limits limits_;
    Output output_;
    PayloadView view_;
    bool verbose_ = false;
};

}  // namespace

std::unique_ptr<Command> makeListen() {
    return std::make_unique<Listen>();
}
