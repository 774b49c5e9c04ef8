#include <chrono>
#include <fmt/core.h>
#include <string>
#include <unistd.h>

#include "system/JSystem.h"
#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/Header.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Output.h"
#include "tools/jay/PayloadSource.h"
#include "tools/jay/Session.h"
#include "tools/jay/Timings.h"

using std::chrono::ceil;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr int USUAL_TIMEOUT_MS = 5000;

const std::string EXAMPLES = R"(Sends a message and waits for the answer: a message from that client with the
same section. Without --section it is a new number. Prints the answer as
'jay listen' does, with the time that it took in place of the time of day.
Other messages for our id that come meanwhile are lost, and their number is
reported.

examples:
  jay request --to 7 'are you there?'
  jay request --to 7 --items int:42 --decode
  jay request --id 5 --to 7 --timeout 500 --json ping
)";

class Request : public Command {
public:
    const char* name() const override { return "request"; }
    const char* summary() const override { return "Send a message and print the answer"; }

    void describe(CommandLine& line) override {
        client_.timeout = USUAL_TIMEOUT_MS;
        client_.describe(line, "Longest time to wait for the answer");
        header_.describeRequest(line);
        source_.describe(line);
        line.addFlag("-v,--verbose", verbose_, "Show the whole header and a hex dump");
        line.addFlag("--decode", view_.decode, "Show the payload as typed items if it can be");
        output_.describePayloads(line);
        line.setFooter(EXAMPLES + exitStatusHelp("no answer within --timeout, or the output failed"));
        line.addCheck([this] { return check(); });
    }

    Status run() override {
        view_ = output_.view(view_.decode);
        const Parsed payload = source_.payload(view_.encoding);
        if (!payload.ok()) return fail(WRONG_USE, payload.error);
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        client_ = session.client();
        M question = header_.message(payload.bytes, client_.id());
        if (!header_.hasSection()) question.setSection(freshSection());
        return ask(session, question);
    }

private:
    std::string check() const {
        return source_.isInput() ? "TEXT: one request only; 'jay send' takes - for standard input" : "";
    }

    static int freshSection() {
        return static_cast<int>((JSystem::getMilliseconds() ^ static_cast<long long>(getpid()) << 16) &
                                0x7FFFFFFF);
    }

    Status ask(Session& session, M& question) {
        const auto begin = steady_clock::now();
        session.sendOver(client_.id(), question);  // if it fails, next() tells
        Arrival arrival;
        long others = 0;
        for (;; others++) {
            const auto left = ceil<milliseconds>(begin + milliseconds(client_.timeout) - steady_clock::now());
            const Session::Event event =
                session.next(arrival, static_cast<int>(std::max(left, milliseconds(0)).count()));
            if (event != Session::MESSAGE) {
                output_.noteLost(others, client_);
                return ended(event);
            }
            if (isAnswer(*arrival.message, question)) break;
        }
        output_.noteLost(others + session.leftOver(), client_);
        print(*arrival.message, arrival.moment - begin);
        return output_.status();
    }

    bool isAnswer(M& message, M& question) const {
        return message.getSrcId() == header_.to() && message.getSection() == question.getSection();
    }

    void print(M& answer, Timings::Duration took) {
        if (output_.isJson()) {
            JsonObject object;
            object.add("ms", Timings::milliseconds(took)).addAll(messageJson(answer, view_));
            output_.object(object);
            return;
        }
        const double ms = Timings::milliseconds(took);
        output_.line(verbose_ ? fmt::format("{:.3f} ms\n{}", ms, messageBlock(answer, view_))
                              : fmt::format("{:.3f} ms  {}", ms, messageLine(answer, view_)));
    }

    Status ended(Session::Event event) const {
        if (event == Session::TIME_UP)
            complain("no answer from client {} within {} ms; is it connected, and does it answer?",
                     header_.to(), client_.timeout);
        return Session::statusOf(event);
    }

    Client client_;
    Header header_;
    PayloadSource source_;
    Output output_;
    PayloadView view_;
    bool verbose_ = false;
};

}  // namespace

std::unique_ptr<Command> makeRequest() {
    return std::make_unique<Request>();
}
