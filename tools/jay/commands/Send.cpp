#include <limits>
#include <string>

#include "bus/SM.h"
#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/Session.h"

namespace {

constexpr int HIGHEST_PRIORITY_NUMBER = 255;
constexpr std::size_t LONGEST_TEXT = M::MAX_SIZE - M::HEADER_SIZE;

const char EXAMPLES[] =
    R"(The payload is the text, byte for byte: no length before it, no NUL behind it. A message for a client that is not
connected waits in the server, and client 0 is told. The command ends when the server has the message.
A text that begins with a dash stands behind --.
To the server we are the client with that id: it closes the connection of the one that had it until now, and
delivers to us what waits for it.

examples:
  jay send --id 5 --to 7 hello
  jay send --id 5 --to 7 --priority 9 'when nothing more urgent waits'
  jay send --id 5 --broadcast 'everybody who is connected, but not we ourselves'
  jay send --id 5 --sync --to 7 'client 0: please look after client 7'
  jay send --id 0 --to 7 --timed 5000 'answer within 5 seconds, or client 0 is told'
  jay send --id 5 --to 7 -- -1
exit status: 0 the server has the message; 1 interrupted; 2 wrong use; 3 no server, or lost it)";

class Send : public Command {
public:
    const char* name() const override { return "send"; }
    const char* summary() const override { return "Be a client, and send one message"; }

    void describe(CLI::App& app) override {
        client_.describe(app, "How long the server may take to say that it has the message",
                         "MS (default 10000)");
        client_.timeout = 10000;
        app.add_option("--to", to_, "The client it is for; with --sync, the one that it is about")
            ->option_text("0..31")
            ->check(CLI::Range(0, SM::MAX_CLIENTS - 1));
        app.add_option("--priority", priority_, "0 is delivered first")
            ->option_text("0..255 (default 0)")
            ->check(CLI::Range(0, HIGHEST_PRIORITY_NUMBER));
        app.add_option("--section", section_, "A number that goes with the message untouched")
            ->option_text("NUMBER (default 0)")
            ->check(CLI::Range(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
        app.add_flag("--sync", sync_, "For client 0, before all others");
        app.add_flag("--broadcast", broadcast_, "For every other client that is connected");
        app.add_option("--timed", patience_, "The client has to send something within this time")
            ->option_text("MILLISECONDS")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()));
        app.add_option("TEXT", text_, "The payload")->required()->option_text(" ");
        app.footer(EXAMPLES);
        app.callback([this] { check(); });
    }

    Status run() override {
        Session session(client_);
        if (!session.connect()) return failed();
        M message = build();
        session.send(message);  // whether it arrived is what confirm() finds out
        if (!session.confirm(client_.timeout)) return failed();
        tellOfLeftOver(session.leftOver());
        return DONE;
    }

private:
    /** What no single option can tell. */
    void check() const {
        if (broadcast_ && patience_ > 0) throw CLI::ExcludesError("--timed", "--broadcast");
        if (to_ < 0 && !sync_ && !broadcast_) throw CLI::RequiredError("--to, --sync or --broadcast");
        if (text_.size() > LONGEST_TEXT)
            throw CLI::ValidationError(
                "TEXT", "longer than the " + std::to_string(LONGEST_TEXT) + " bytes that fit into a message");
    }

    M build() const {
        M m;
        m.setDestId(to_ < 0 ? 0 : to_);
        m.setFlag((sync_ ? M::M_FLAG_SYNC : 0) | (broadcast_ ? M::M_FLAG_BROADCAST : 0) |
                  (patience_ > 0 ? M::M_FLAG_TIMED : 0));
        m.setPriority(priority_);
        m.setTimestamp(patience_);  // kept if the message is timed, else replaced by the time of sending
        m.setSection(section_);
        m.addBytes(text_.data(), 0, static_cast<int>(text_.size()));
        return m;
    }

    Status failed() const {
        if (!Inbox::get().isStopped()) return NO_SERVER;
        complain("interrupted before the server had confirmed the message");
        return UNFINISHED;
    }

    void tellOfLeftOver(int count) const {
        if (count == 0) return;
        complain(std::to_string(count) + " message(s) for client " + std::to_string(client_.id()) +
                 " came meanwhile and are lost; send with an id that nobody else uses");
    }

    Client client_;
    int to_ = -1;
    int priority_ = 0;
    int section_ = 0;
    int patience_ = 0;  // milliseconds; 0: not timed
    bool sync_ = false;
    bool broadcast_ = false;
    std::string text_;
};

}  // namespace

std::unique_ptr<Command> makeSend() {
    return std::make_unique<Send>();
}
