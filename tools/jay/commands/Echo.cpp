#include <fmt/core.h>
#include <string>

#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Limits.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Output.h"
#include "tools/jay/Session.h"
#include "tools/jay/Words.h"

namespace {

const std::string EXAMPLES = R"(Sends every message back to the client that sent it, with the same payload,
priority and section, so that 'jay ping' and 'jay request' get their answers.
Prints nothing unless --verbose or --json is given. Requests to wake a client,
which come for client 0, and messages from our own id are not answered.
Two clients that echo must not send to each other: that would never end.

examples:
  jay echo --id 7
  jay echo --id 7 --verbose            print the messages as 'jay listen' does
  jay echo --id 7,8 --for 60000 --quiet
)";

class Echo : public Command {
public:
    const char* name() const override { return "echo"; }
    const char* summary() const override { return "Send every message back to its sender"; }

    void describe(CommandLine& line) override {
        client_.describeSeveral(line, "End when no message has come for this time", "Our id, or several");
        limits_.describe(line, "End after this number of answers");
        line.addFlag("-v,--verbose", verbose_, "Print each message");
        output_.describePayloads(line);
        line.setFooter(EXAMPLES +
                       exitStatusHelp("too few messages (--count, else one) came, or the output failed"));
    }

    bool writesOutput() const override { return verbose_ || output_.isJson(); }

    Status run() override {
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        output_.note("answering as {} at {}", client_.name(), client_.server());
        int answered = 0;
        const Status status = answerAll(session, answered);
        output_.note("{} answered", counted(answered, "message"));
        return status;
    }

private:
    Status answerAll(Session& session, int& answered) {
        limits_.start();
        Arrival arrival;
        while (!limits_.isReached(answered)) {
            const Session::Event event = session.next(arrival, limits_.wait(client_.timeout));
            if (event != Session::MESSAGE) return limits_.ended(event, answered);
            const bool wanted = isWanted(arrival);
            if (wanted) answer(session, arrival);  // if it fails, next() tells
            if (wanted) answered++;
            if (!print(arrival, wanted)) return output_.status();
        }
        // Only the server's own echo shows that it has the last answer: a connection closed too soon may lose it.
        return session.confirm(USUAL_PATIENCE_MS);
    }

    bool isWanted(const Arrival& arrival) const {
        M& m = *arrival.message;
        const bool wakeUp = (m.getFlag() & M::M_FLAG_SYNC) != 0 && m.size() <= M::HEADER_SIZE;
        return !wakeUp && m.getSrcId() != arrival.client;
    }

    void answer(Session& session, const Arrival& arrival) const {
        M& m = *arrival.message;
        const std::string payload = payloadOf(m);
        M reply;
        reply.setDestId(m.getSrcId());
        reply.setSrcId(arrival.client);
        reply.setPriority(m.getPriority());
        reply.setSection(m.getSection());
        reply.addBytes(payload.data(), 0, static_cast<int>(payload.size()));
        session.sendOver(arrival.client, reply);
    }

    bool print(const Arrival& arrival, bool answered) {
        const PayloadView view = output_.view(false);
        if (output_.isJson()) {
            JsonObject object;
            object.add("time", arrival.time).add("client", arrival.client).add("answered", answered);
            return output_.object(object.addAll(messageJson(*arrival.message, view)));
        }
        if (!verbose_) return true;
        return output_.line(
            fmt::format("{}  {}", clockTime(arrival.time), messageLine(*arrival.message, view)));
    }

    static constexpr int USUAL_PATIENCE_MS = 10000;

    Client client_;
    Limits limits_;
    Output output_;
    bool verbose_ = false;
};

}  // namespace

std::unique_ptr<Command> makeEcho() {
    return std::make_unique<Echo>();
}
