#include "tools/jay/Client.h"

#include <algorithm>
#include <limits>

#include "bus/SM.h"

namespace {

constexpr int HIGHEST_PORT = 65535;

CLI::Range anId() {
    return CLI::Range(0, SM::MAX_CLIENTS - 1);
}

}  // namespace

void Client::describe(CLI::App& app, const std::string& timeoutMeaning, const std::string& timeoutText) {
    app.add_option_function<int>(
           "--id", [this](int id) { add(id); }, "Our id; one that no other client uses")
        ->option_text("0..31 (required)")
        ->required()
        ->check(anId());
    describeRest(app, timeoutMeaning, timeoutText);
}

void Client::describeSeveral(CLI::App& app, const std::string& timeoutMeaning,
                             const std::string& timeoutText) {
    const auto addAll = [this](const std::vector<int>& given) {
        ids.clear();
        for (const int id : given) add(id);
    };
    app.add_option_function<std::vector<int>>("--id", addAll, "Our id, or several; no other client uses them")
        ->option_text("0..31[,...] (required)")
        ->required()
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(anId());
    describeRest(app, timeoutMeaning, timeoutText);
}

/** An id twice is one: a second connection of ours would end the first. */
void Client::add(int id) {
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
}

void Client::describeServer(CLI::App& app) {
    app.add_option("--host", host, "Name or address of the machine that jayd runs on")
        ->option_text("HOST (default " + host + ")");
    app.add_option("--port", port, "The port that jayd listens on")
        ->option_text("1..65535 (default " + std::to_string(port) + ")")
        ->check(CLI::Range(1, HIGHEST_PORT));
}

void Client::describeRest(CLI::App& app, const std::string& timeoutMeaning, const std::string& timeoutText) {
    describeServer(app);
    app.add_option("--timeout", timeout, timeoutMeaning)
        ->option_text(timeoutText)
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
}

std::string Client::name() const {
    std::string text = ids.size() == 1 ? "client " : "clients ";
    for (const int id : ids) text += (id == ids.front() ? "" : ", ") + std::to_string(id);
    return text;
}

std::string Client::server() const {
    return host + ":" + std::to_string(port);
}
