#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <fmt/core.h>
#include <string>

#include "bus/SM.h"
#include "system/JSystem.h"
#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Output.h"
#include "tools/jay/PayloadSource.h"
#include "tools/jay/Session.h"
#include "tools/jay/Timings.h"

using std::chrono::ceil;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr int USUAL_TIMEOUT_MS = 2000;
constexpr Range IDS{0, SM::MAX_CLIENTS - 1};
constexpr Range SIZES{0, PayloadSource::LONGEST};
constexpr Range AT_LEAST_ONE{1};

const std::string EXAMPLES =
    R"(Measures round trips through the server to a client that runs 'jay echo', until
Ctrl-C or --count. Messages for a client that is not connected wait in the
server: the client gets them when it connects, although they count as lost here.

examples:
  jay echo --id 7 &
  jay ping --to 7 --count 5
  jay ping --to 7 --interval 0 --count 1000 --size 1000 --quiet
)";

class Ping : public Command {
public:
    const char* name() const override { return "ping"; }
    const char* summary() const override { return "Measure round trips to a client that echoes"; }

    void describe(CommandLine& line) override {
        client_.timeout = USUAL_TIMEOUT_MS;
        client_.describe(line, "An answer that takes longer counts as lost");
        line.addNumber("--to", to_, IDS, "The client that runs 'jay echo'");
        line.require("--to");
        line.addNumber("--count", count_, AT_LEAST_ONE, "End after this number of messages", "NUMBER");
        line.addNumber("--interval", interval_, {}, "Time between messages; 0: send after each answer", "MS");
        line.addNumber("--size", size_, SIZES, "Bytes of payload");
        output_.describe(line);
        line.setFooter(EXAMPLES + exitStatusHelp("no answer, or the output failed"));
    }

    Status run() override {
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        client_ = session.client();
        begin_ = next_ = steady_clock::now();
        firstSection_ = static_cast<std::uint32_t>(JSystem::getMilliseconds());
        const Session::Event event = exchange(session);
        if (event == Session::OUTPUT_GONE) return output_.status();
        summarize();
        output_.noteLost(others_, client_);
        if (event != Session::TIME_UP) return Session::statusOf(event);
        return timings_.isEmpty() ? UNFINISHED : output_.status();
    }

private:
    struct Question {
        int number;
        steady_clock::time_point sent;
    };

    /** Until all is sent and answered or lost: TIME_UP; or what came between. */
    Session::Event exchange(Session& session) {
        Arrival arrival;
        while (!isFinished()) {
            if (isDue()) send(session);  // if it fails, next() tells
            const Session::Event event = session.next(arrival, pause());
            if (event == Session::MESSAGE) {
                take(arrival);
            } else if (event != Session::TIME_UP) {
                return event;
            }
            giveUpOld();
            if (unwritable_) return Session::OUTPUT_GONE;
        }
        return Session::TIME_UP;
    }

    bool isAllSent() const { return count_ != 0 && sent_ == count_; }
    bool isFinished() const { return isAllSent() && waiting_.empty(); }

    bool isDue() const {
        if (isAllSent()) return false;
        return interval_ == 0 ? waiting_.empty() : steady_clock::now() >= next_;
    }

    /** Up to the next that is to be sent, or to be given up. */
    int pause() const {
        auto until = steady_clock::time_point::max();
        if (!isAllSent() && interval_ > 0) until = next_;
        if (!waiting_.empty()) until = std::min(until, waiting_.front().sent + milliseconds(client_.timeout));
        const auto left = ceil<milliseconds>(until - steady_clock::now());
        return static_cast<int>(std::max(left, milliseconds(0)).count());
    }

    void send(Session& session) {
        static const std::string pattern = "abcdefghijklmnopqrstuvwxyz";
        std::string payload;
        for (int i = 0; i < size_; i++) payload += pattern[static_cast<std::size_t>(i) % pattern.size()];
        M m;
        m.setDestId(to_);
        m.setSection(static_cast<int>(firstSection_ + static_cast<std::uint32_t>(sent_)));
        m.addBytes(payload.data(), 0, size_);
        next_ += milliseconds(interval_);
        waiting_.push_back({++sent_, steady_clock::now()});
        session.send(m);
    }

    void take(const Arrival& arrival) {
        M& m = *arrival.message;
        if (m.getSrcId() != to_) {
            others_++;
            return;
        }
        const std::uint32_t place = static_cast<std::uint32_t>(m.getSection()) - firstSection_;
        const auto question = std::find_if(waiting_.begin(), waiting_.end(), [place](const Question& q) {
            return static_cast<std::uint32_t>(q.number) == place + 1;
        });
        if (question == waiting_.end()) {  // given up already, or not an answer
            others_++;
            return;
        }
        const auto took = arrival.moment - question->sent;
        timings_.add(took);
        tellAnswer(question->number, m.size() - M::HEADER_SIZE, Timings::milliseconds(took));
        waiting_.erase(question);
    }

    void giveUpOld() {
        const auto oldest = steady_clock::now() - milliseconds(client_.timeout);
        while (!waiting_.empty() && waiting_.front().sent <= oldest) {
            tellLost(waiting_.front().number);
            waiting_.pop_front();
            lost_++;
        }
    }

    void tellAnswer(int number, int size, double ms) {
        if (output_.isQuiet()) return;
        if (output_.isJson()) {
            tell(JsonObject().add("seq", number).add("client", to_).add("size", size).add("ms", ms));
        } else {
            tell(fmt::format("{} bytes from client {}: seq={} time={:.3f} ms", size, to_, number, ms));
        }
    }

    void tellLost(int number) {
        if (output_.isQuiet()) return;
        if (output_.isJson()) {
            tell(JsonObject().add("seq", number).add("client", to_).add("lost", true));
        } else {
            tell(fmt::format("nothing from client {}: seq={} within {} ms", to_, number, client_.timeout));
        }
    }

    void tell(const std::string& line) { unwritable_ = unwritable_ || !output_.line(line); }
    void tell(const JsonObject& object) { unwritable_ = unwritable_ || !output_.object(object); }

    void summarize() {
        const int answered = sent_ - lost_ - static_cast<int>(waiting_.size());
        const int settled = answered + lost_;
        const double loss = settled == 0 ? 0 : 100.0 * lost_ / settled;
        const double duration = Timings::milliseconds(steady_clock::now() - begin_);
        if (output_.isJson()) {
            summarizeJson(answered, loss, duration);
        } else {
            tell(fmt::format("--- client {} ---", to_));
            tell(fmt::format("{} sent, {} answered, {:.1f}% lost, {:.0f} ms", sent_, answered, loss,
                             duration));
            if (answered > 0) {
                const Timings::Summary ms = timings_.summary();
                tell(fmt::format("round trip min/median/p99/max = {:.3f}/{:.3f}/{:.3f}/{:.3f} ms", ms.least,
                                 ms.median, ms.percentile99, ms.most));
            }
        }
        if (answered == 0) output_.note("no answer; is 'jay echo --id {}' running?", to_);
    }

    void summarizeJson(int answered, double loss, double duration) {
        JsonObject object;
        object.add("client", to_).add("sent", sent_).add("answered", answered);
        object.add("lost", lost_).add("loss_percent", loss).add("duration_ms", duration);
        if (answered > 0) {
            const Timings::Summary times = timings_.summary();
            object.add("min_ms", times.least).add("median_ms", times.median);
            object.add("p99_ms", times.percentile99).add("max_ms", times.most);
        }
        tell(object);
    }

    Client client_;
    Output output_;
    int to_ = -1;
    int count_ = 0;  // 0: no end
    int interval_ = 1000;
    int size_ = 56;

    std::uint32_t firstSection_ = 0;
    std::deque<Question> waiting_;  // in the order of sending
    int sent_ = 0;
    int lost_ = 0;
    long others_ = 0;  // messages that were not answers
    Timings timings_;  // of those that were answered
    steady_clock::time_point begin_, next_;
    bool unwritable_ = false;
};

}  // namespace

std::unique_ptr<Command> makePing() {
    return std::make_unique<Ping>();
}
