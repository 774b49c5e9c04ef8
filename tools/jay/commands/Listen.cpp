#include <fmt/core.h>
#include <string>

#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Limits.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Output.h"
#include "tools/jay/Session.h"

namespace {

const std::string EXAMPLES = R"(Prints one line for each message, in the order of arrival:

  14:03:22.417  5 -> 7  flag sync  priority 3  section 9  length 21  text hello

Flag, priority and section are shown where they are not none or 0. The length
includes the header of 16 bytes. The payload is shown as text if it is text
without control characters, else in hex. On a terminal a long payload is
shortened; --full shows all of it.
To the server, jay is the client with this id: the server closes the connection
of another program that has it, and delivers the messages that wait for it.

examples:
  jay listen --id 7                    print the messages for client 7
  jay listen --id 5,7 --verbose        two clients, all of the header, hex dumps
  jay listen --id 7 --decode           show payloads as typed items
  jay listen --id 7 --encoding euc-kr  payloads in Korean
  jay listen --id 7 --json | jq .text  for other programs
  jay listen --id 0                    see which absent clients have messages
  jay listen --id 7 --count 1 --timeout 5000
)";

class Listen : public Command {
public:
    const char* name() const override { return "listen"; }
    const char* summary() const override { return "Print the messages for a client"; }

    void describe(CommandLine& line) override {
        client_.describeSeveral(line, "End when no message has come for this time", "Our id, or several");
        limits_.describe(line, "End after so many messages; others are lost");
        line.addFlag("-v,--verbose", verbose_, "Show the whole header and a hex dump");
        line.addFlag("--decode", view_.decode, "Show a payload as typed items if it can be");
        output_.describePayloads(line);
        line.setFooter(EXAMPLES +
                       exitStatusHelp("too few messages (--count, else one) came, or the output failed"));
    }

    Status run() override {
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        output_.note("listening as {} at {}", client_.name(), client_.server());
        view_ = output_.view(view_.decode);
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
        const std::string time = clockTime(arrival.time);
        const std::string text = verbose_ ? fmt::format("{}  for client {}\n{}", time, arrival.client,
                                                        messageBlock(message, view_))
                                          : fmt::format("{}  {}", time, messageLine(message, view_));
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
