#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fmt/core.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "system/JSystem.h"
#include "tools/jay/Client.h"
#include "tools/jay/commands/registry.h"
#include "tools/jay/Console.h"
#include "tools/jay/Output.h"
#include "tools/jay/PayloadSource.h"
#include "tools/jay/Progress.h"
#include "tools/jay/Session.h"
#include "tools/jay/Timings.h"

using std::chrono::steady_clock;

namespace {

constexpr int USUAL_TIMEOUT_MS = 10000;
constexpr Range SIZES{0, PayloadSource::LONGEST};
constexpr Range COUNTS{1, 10000000};
constexpr int MOST_UNDER_WAY = 1024;
constexpr int MOST_BYTES_UNDER_WAY = 4 << 20;
constexpr int TABLE_WIDTH = 73;

const std::string EXAMPLES = R"(Connects as two clients, of which the first sends to the second. It measures
for each size, one after the other:
  latency     from sending to arrival, one message at a time, a tenth of --count
  throughput  --count messages, of which at most 1024, or 4 MB, are under way
The server's other clients share its time with these two.

examples:
  jay bench
  jay bench --id 20,21 --size 0,100,65519 --count 100000
  jay bench --json --quiet > result.json
)";

struct Result {
    int size = 0;
    int messages = 0;
    double seconds = 0;
    Timings::Summary latency{};  // milliseconds

    double rate() const { return messages / seconds; }
    double megabytes() const { return rate() * size / 1e6; }
};

struct Column {
    const char* name;
    int decimals;
    double (*value)(const Result&);
};

constexpr double US_PER_MS = 1000;

constexpr Column COLUMNS[] = {
    {"bytes", 0, [](const Result& r) { return static_cast<double>(r.size); }},
    {"messages", 0, [](const Result& r) { return static_cast<double>(r.messages); }},
    {"per sec", 0, [](const Result& r) { return r.rate(); }},
    {"MB/s", 1, [](const Result& r) { return r.megabytes(); }},
    {"min us", 1, [](const Result& r) { return r.latency.least * US_PER_MS; }},
    {"median us", 1, [](const Result& r) { return r.latency.median * US_PER_MS; }},
    {"p99 us", 1, [](const Result& r) { return r.latency.percentile99 * US_PER_MS; }},
    {"max us", 1, [](const Result& r) { return r.latency.most * US_PER_MS; }},
};

std::string cell(const Column& column, const Result& result) {
    return fmt::format("{:9.{}f}", column.value(result), column.decimals);
}

std::string heading() {
    std::string line;
    for (const Column& column : COLUMNS) line += fmt::format("{}{:>9}", line.empty() ? "" : " ", column.name);
    return line;
}

std::string row(const Result& result) {
    std::string line;
    for (const Column& column : COLUMNS) line += (line.empty() ? "" : " ") + cell(column, result);
    return line;
}

/** For a narrow terminal: a line per value. */
std::string block(const Result& result) {
    std::string lines;
    for (const Column& column : COLUMNS)
        lines += fmt::format("{}{:<10}{}", lines.empty() ? "" : "\n", column.name, cell(column, result));
    return lines;
}

JsonObject json(const Result& r) {
    JsonObject latency;
    latency.add("min", r.latency.least * US_PER_MS).add("median", r.latency.median * US_PER_MS);
    latency.add("p99", r.latency.percentile99 * US_PER_MS).add("max", r.latency.most * US_PER_MS);
    JsonObject object;
    object.add("size", r.size).add("messages", r.messages).add("seconds", r.seconds);
    object.add("messages_per_second", r.rate()).add("megabytes_per_second", r.megabytes());
    return object.add("latency_us", latency);
}

class Bench : public Command {
public:
    const char* name() const override { return "bench"; }
    const char* summary() const override { return "Measure throughput and latency between two clients"; }

    void describe(CommandLine& line) override {
        client_.timeout = USUAL_TIMEOUT_MS;
        client_.spares = 2;
        client_.describeSeveral(line, "Longest time that a message may take",
                                "Our ids, sender, receiver; without it, spare ones");
        line.addNumbers("--size", sizes_, SIZES, "Bytes of payload, or several sizes");
        line.addNumber("--count", count_, COUNTS, "Messages of each size");
        output_.describe(line);
        line.setFooter(EXAMPLES +
                       exitStatusHelp("a message did not arrive within --timeout, or the output failed"));
        line.addCheck([this] {
            return client_.ids.empty() || client_.ids.size() == 2 ? "" : "--id: two different ids are needed";
        });
    }

    Status run() override {
        Session session(client_);
        if (const Status status = session.open(); status != DONE) return status;
        client_ = session.client();
        output_.note("measuring between clients {} and {} at {}", from(), to(), client_.server());
        section_ = static_cast<std::uint32_t>(JSystem::getMilliseconds()) << 8;
        std::vector<Result> results;
        const Session::Event event = measureAll(session, results);
        output_.noteLost(others_, client_);
        if (event == Session::OUTPUT_GONE) return output_.status();
        if (!output_.isJson()) printTable(results);
        return event == Session::MESSAGE ? output_.status() : failed(event);
    }

private:
    int from() const { return client_.ids[0]; }
    int to() const { return client_.ids[1]; }
    int samples() const { return std::max(count_ / 10, 1); }

    /** MESSAGE when all went well; else what came between. */
    Session::Event measureAll(Session& session, std::vector<Result>& results) {
        const long steps = static_cast<long>(samples()) + count_;
        Progress progress(!output_.isQuiet(), steps * static_cast<long>(sizes_.size()));
        for (const int size : sizes_) {
            Result result;
            result.size = size;
            Session::Event event = measureLatency(session, result, progress);
            if (event == Session::MESSAGE) event = measureThroughput(session, result, progress);
            if (event != Session::MESSAGE) return event;
            results.push_back(result);
            if (output_.isJson()) progress.clear();
            if (output_.isJson() && !output_.object(json(result))) return Session::OUTPUT_GONE;
        }
        return Session::MESSAGE;
    }

    Session::Event measureLatency(Session& session, Result& result, Progress& progress) {
        Timings timings;
        for (int i = 0; i < samples(); i++) {
            const auto begin = steady_clock::now();
            send(session, result.size);
            steady_clock::time_point arrived;
            const Session::Event event = await(session, section_, arrived);
            if (event != Session::MESSAGE) return event;
            timings.add(arrived - begin);
            progress.step(fmt::format("{} bytes", result.size));
        }
        result.latency = timings.summary();
        return Session::MESSAGE;
    }

    Session::Event measureThroughput(Session& session, Result& result, Progress& progress) {
        const int window =
            std::clamp(MOST_BYTES_UNDER_WAY / (result.size + M::HEADER_SIZE), 1, MOST_UNDER_WAY);
        const std::uint32_t first = section_ + 1;
        const auto begin = steady_clock::now();
        steady_clock::time_point arrived;
        for (int sent = 0, received = 0; received < count_; received++) {
            for (; sent < count_ && sent - received < window; sent++) send(session, result.size);
            const Session::Event event =
                await(session, first + static_cast<std::uint32_t>(received), arrived);
            if (event != Session::MESSAGE) return event;
            progress.step(fmt::format("{} bytes", result.size));
        }
        result.messages = count_;
        result.seconds = std::chrono::duration<double>(arrived - begin).count();
        return Session::MESSAGE;
    }

    /** If it fails, await() finds out. */
    void send(Session& session, int size) {
        payload_.resize(static_cast<std::size_t>(size), 'x');
        M m;
        m.setDestId(to());
        m.setSection(static_cast<int>(++section_));
        m.addBytes(payload_.data(), 0, size);
        session.send(m);
    }

    /** The message of that section. They come in the order of sending; what comes from others is passed over. */
    Session::Event await(Session& session, std::uint32_t section, steady_clock::time_point& arrived) {
        Arrival arrival;
        for (;; others_++) {
            const Session::Event event = session.next(arrival, client_.timeout);
            if (event != Session::MESSAGE) {
                others_ += session.leftOver();
                return event;
            }
            M& m = *arrival.message;
            if (arrival.client != to() || m.getSrcId() != from()) continue;
            if (static_cast<std::uint32_t>(m.getSection()) != section) continue;
            arrived = arrival.moment;
            return event;
        }
    }

    void printTable(const std::vector<Result>& results) {
        const int width = terminalWidth(STDOUT_FILENO);
        const bool narrow = width > 0 && width < TABLE_WIDTH;
        if (results.empty() || (!narrow && !output_.line(heading()))) return;
        for (const Result& result : results) {
            if (!output_.line(narrow ? block(result) : row(result))) return;
        }
    }

    Status failed(Session::Event event) const {
        if (event == Session::TIME_UP) {
            complain("a message did not arrive within {} ms; is the server overloaded?", client_.timeout);
        }
        return Session::statusOf(event);
    }

    Client client_;
    Output output_;
    std::vector<int> sizes_ = {16, 256, 4096, 60000};
    int count_ = 10000;
    std::string payload_;
    std::uint32_t section_ = 0;  // of the message sent last
    long others_ = 0;            // messages that are not of the measurement
};

}  // namespace

std::unique_ptr<Command> makeBench() {
    return std::make_unique<Bench>();
}
