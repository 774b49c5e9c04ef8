#include "tools/jay/Client.h"

#include <algorithm>
#include <fmt/format.h>

#include "bus/SM.h"
#include "tools/jay/IdClaims.h"

namespace {
constexpr Range IDS{0, SM::MAX_CLIENTS - 1};
constexpr Range PORTS{1, 65535};
}  // namespace

void Client::describe(CommandLine& line, const std::string& timeoutMeaning) {
    spares = 1;
    line.addNumber(
        "--id", only_, IDS,
        fmt::format("Our id; without it, a spare one from {} to {}", IdClaims::FIRST_SPARE, IDS.most));
    line.addCheck([this] {
        if (only_ >= 0) ids = {only_};
        return "";
    });
    describeRest(line, timeoutMeaning);
}

void Client::describeSeveral(CommandLine& line, const std::string& timeoutMeaning,
                             const std::string& idMeaning) {
    line.addNumbers("--id", ids, IDS, idMeaning);
    if (spares == 0) line.require("--id");
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
    line.addText("--host", host, "Name or address of the server's machine", "HOST");
    line.addNumber("--port", port, PORTS, "Port of the server");
}

std::string Client::name() const {
    return fmt::format("client{} {}", ids.size() == 1 ? "" : "s", fmt::join(ids, ", "));
}

std::string Client::server() const {
    return fmt::format("{}:{}", host, port);
}
