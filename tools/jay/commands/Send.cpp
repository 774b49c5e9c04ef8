#include <cerrno>
#include <cstring>
#include <fmt/core.h>
#include <string>
#include <unistd.h>

#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/Header.h"
#include "tools/jay/LineReader.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Output.h"
#include "tools/jay/PayloadSource.h"
#include "tools/jay/Session.h"

namespace {

constexpr int USUAL_TIMEOUT_MS = 10000;
constexpr std::size_t LONGEST_LINE = 1 << 20;  // hex of a longest payload is shorter

const std::string EXAMPLES = R"(The payload is the text, byte for byte: no length before it, no NUL behind it.
With --encoding euc-kr it is converted from UTF-8 to Korean code. - reads
standard input: each line is the payload of a message. A text that begins with
a dash must follow --.
A message for a client that is not connected waits in the server, and client 0
is told. jay ends when the server has all messages; --json shows them.
To the server, jay is the client with its id: the server closes the connection
of another program that has it, and delivers the messages that wait for it,
which are lost. So leave --id out unless the receiver needs to know the sender.

examples:
  jay send --to 7 hello
  jay send --id 5 --to 7 hello                   the message is from client 5
  jay send --to 7 --priority 9 'not urgent'
  jay send --broadcast 'to all connected clients'
  jay send --sync --to 7 'client 0: please look after client 7'
  jay send --to 7 --timed 5000 'answer within 5 seconds, or client 0 is told'
  jay send --to 7 --hex 05 68 65 6c 6c 6f
  jay send --to 7 --items str:hello var:300 word:7 byte:1 int:-5
  jay send --to 7 --file picture.bin
  tail -f log | jay send --to 7 -
  jay send --to 7 -- -1
)";

class Send : public Command {
public:
    const char* name() const override { return "send"; }
    const char* summary() const override { return "Send messages"; }

    void describe(CommandLine& line) override {
        client_.timeout = USUAL_TIMEOUT_MS;
        client_.describe(line, "Longest wait until the server has the message");
        header_.describe(line);
        source_.describe(line);
        output_.describe(line);
        line.setFooter(EXAMPLES + exitStatusHelp("input or output failed"));
    }

    bool writesOutput() const override { return output_.isJson(); }

    Status run() override {
        Parsed payload;
        if (!source_.isInput()) payload = source_.payload(output_.encoding());
        if (!payload.ok()) return fail(WRONG_USE, payload.error);
        Session session(client_);
        client_ = session.client();
        // Before the first line is waited for, it is good to know that it can be sent.
        const Status connected = source_.isInput() ? session.open() : session.connect();
        if (connected != DONE) return failed(connected);
        const Status sent = source_.isInput() ? sendLines(session) : send(session, payload.bytes);
        // Also after a line that was wrong: those before it are to arrive.
        const Status confirmed = session.confirm(client_.timeout);
        if (confirmed != DONE) return failed(confirmed);
        output_.noteLost(session.leftOver(), client_);
        return sent;
    }

private:
    /** Whether it arrived is what confirm() finds out. */
    Status send(Session& session, const std::string& payload) {
        M message = header_.message(payload, client_.id());
        session.sendOver(client_.id(), message);
        sent_++;
        if (output_.isJson() && !output_.object(messageJson(message, output_.view(false)))) {
            return output_.status();
        }
        return DONE;
    }

    Status sendLines(Session& session) {
        LineReader input(STDIN_FILENO, LONGEST_LINE, [&session] { return session.isConnected(); });
        std::string line;
        LineReader::Result result = LineReader::LINE;
        while ((result = input.next(line)) == LineReader::LINE) {
            const Parsed payload = source_.payload(line, output_.encoding());
            if (!payload.ok()) return wrongLine(payload.error);
            const Status status = send(session, payload.bytes);
            if (status != DONE || !session.isConnected()) return status;
        }
        if (result == LineReader::TOO_LONG) return wrongLine("the line is far longer than a message");
        if (result == LineReader::FAILED)
            return fail(UNFINISHED, "cannot read standard input: {}", std::strerror(errno));
        return DONE;
    }

    Status wrongLine(const std::string& error) const {
        std::string before = fmt::format("the {} before it were sent", sent_);
        if (sent_ <= 1) before = sent_ == 0 ? "nothing was sent" : "the one before it was sent";
        return fail(WRONG_USE, "line {} of standard input: {}; {}", sent_ + 1, error, before);
    }

    Status failed(Status status) const {
        if (status > NO_SERVER)
            complain("interrupted before the server had confirmed {}",
                     sent_ == 1 ? "the message" : "all messages");
        return status;
    }

    Client client_;
    Header header_;
    PayloadSource source_;
    Output output_;
    long sent_ = 0;
};

}  // namespace

std::unique_ptr<Command> makeSend() {
    return std::make_unique<Send>();
}
