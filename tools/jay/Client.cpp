#include "tools/jay/Client.h"

#include "bus/SM.h"

namespace {
constexpr int HIGHEST_PORT = 65535;
}

void Client::describe(CLI::App& app) {
    app.add_option("--id", id, "Our id; one that no other client uses")
        ->option_text("0..31 (required)")
        ->required()
        ->check(CLI::Range(0, SM::MAX_CLIENTS - 1));
    app.add_option("--host", host, "Name or address of the machine that jayd runs on")
        ->option_text("HOST (default " + host + ")");
    app.add_option("--port", port, "The port that jayd listens on")
        ->option_text("1..65535 (default " + std::to_string(port) + ")")
        ->check(CLI::Range(1, HIGHEST_PORT));
}

std::string Client::server() const {
    return host + ":" + std::to_string(port);
}
