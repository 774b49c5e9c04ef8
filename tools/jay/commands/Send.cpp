#include <cerrno>
#include <cstring>
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

const char EXAMPLES[] =
    R"(The payload is the text, byte for byte: no length before it, no NUL behind it. With --encoding euc-kr it is turned
from UTF-8 into Korean code. - stands for standard input: each of its lines is the payload of a message.
A message for a client that is not connected waits in the server, and client 0 is told. The command ends when the
server has all messages; --json shows what was sent. A text that begins with a dash stands behind --.
To the server we are the client with that id: it closes the connection of the one that had it until now, and
delivers to us what waits for it.

examples:
  jay send --id 5 --to 7 hello
  jay send --id 5 --to 7 --priority 9 'when nothing more urgent waits'
  jay send --id 5 --broadcast 'everybody who is connected, but not we ourselves'
  jay send --id 5 --sync --to 7 'client 0: please look after client 7'
  jay send --id 0 --to 7 --timed 5000 'answer within 5 seconds, or client 0 is told'
  jay send --id 5 --to 7 --hex 05 68 65 6c 6c 6f
  jay send --id 5 --to 7 --items str:hello var:300 word:7 byte:1 int:-5
  jay send --id 5 --to 7 --file picture.bin
  tail -f log | jay send --id 5 --to 7 -
  jay send --id 5 --to 7 -- -1
exit status: 0 the server has the message; 1 interrupted; 2 wrong use; 3 no server, or lost it)";

class Send : public Command {
public:
    const char* name() const override { return "send"; }
    const char* summary() const override { return "Be a client, and send messages"; }

    void describe(CommandLine& line) override {
        client_.timeout = USUAL_TIMEOUT_MS;
        client_.describe(line, "How long the server may take to show that it has the message");
        header_.describe(line);
        source_.describe(line);
        output_.describe(line);
        line.setFooter(EXAMPLES);
    }

    Status run() override {
        Parsed payload;
        if (!source_.isInput()) payload = source_.payload(output_.encoding());
        if (!payload.ok()) {
            complain(payload.error);
            return WRONG_USE;
        }
        Session session(client_);
        // Before the first line is waited for, it is good to know that it can be sent.
        if (!(source_.isInput() ? session.open() : session.connect())) return failed();
        const Status status = source_.isInput() ? sendLines(session) : send(session, payload.bytes);
        // Also after a line that was wrong: those before it are to arrive.
        if (!session.confirm(client_.timeout)) return failed();
        tellOfLeftOver(session.leftOver());
        return status;
    }

private:
    /** Whether it arrived is what confirm() finds out. */
    Status send(Session& session, const std::string& payload) {
        M message = header_.message(payload, client_.id());
        session.sendOver(client_.id(), message);
        sent_++;
        if (output_.isJson() && !output_.object(messageJson(message, {output_.encoding(), false}))) {
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
        if (result == LineReader::FAILED) {
            complain(std::string("cannot read standard input: ") + std::strerror(errno));
            return UNFINISHED;
        }
        return DONE;
    }

    Status wrongLine(const std::string& error) const {
        std::string before = "; the " + std::to_string(sent_) + " before it were sent";
        if (sent_ <= 1) before = sent_ == 0 ? "; nothing was sent" : "; the one before it was sent";
        complain("line " + std::to_string(sent_ + 1) + " of standard input: " + error + before);
        return WRONG_USE;
    }

    Status failed() const {
        if (Inbox::get().isStopped()) {
            complain("interrupted before the server had confirmed " +
                     std::string(sent_ == 1 ? "the message" : "all messages"));
        }
        return Session::failure();
    }

    void tellOfLeftOver(int count) const {
        if (count == 0) return;
        output_.note(std::to_string(count) + " message(s) for client " + std::to_string(client_.id()) +
                     " came meanwhile and are lost; send with an id that nobody else uses");
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
