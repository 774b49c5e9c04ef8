#include "tools/jay/Client.h"

#include <algorithm>

#include "bus/SM.h"

namespace {
constexpr Range IDS{0, SM::MAX_CLIENTS - 1};
constexpr Range PORTS{1, 65535};
}  // namespace

void Client::describe(CommandLine& line, const std::string& timeoutMeaning) {
    line.addNumber("--id", only_, IDS, "Our id; one that no other client uses");
    line.require("--id");
    line.addCheck([this] {
        ids = {only_};
        return "";
    });
    describeRest(line, timeoutMeaning);
}

void Client::describeSeveral(CommandLine& line, const std::string& timeoutMeaning,
                             const std::string& idMeaning) {
    line.addNumbers("--id", ids, IDS, idMeaning);
    if (ids.empty()) line.require("--id");
    line.addCheck([this] {
        dropRepeated();
        return "";
    });
    describeRest(line, timeoutMeaning);
}

void Client::describeRest(CommandLine& line, const std::string& timeoutMeaning) {
    describeServer(line);
    line.addNumber("--timeout", timeout, {}, timeoutMeaning, "MS");
}

/** An id twice is one: a second connection of ours would end the first. */
void Client::dropRepeated() {
    for (auto id = ids.begin(); id != ids.end();) {
        id = std::find(ids.begin(), id, *id) == id ? id + 1 : ids.erase(id);
    }
}

void Client::describeServer(CommandLine& line) {
    line.addText("--host", host, "Name or address of the machine that jayd runs on", "HOST");
    line.addNumber("--port", port, PORTS, "The port that jayd listens on");
}

std::string Client::name() const {
    std::string text = ids.size() == 1 ? "client " : "clients ";
    for (const int id : ids) text += (id == ids.front() ? "" : ", ") + std::to_string(id);
    return text;
}

std::string Client::server() const {
    return host + ":" + std::to_string(port);
}
