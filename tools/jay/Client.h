#ifndef JAY_TOOLS_JAY_CLIENT_H
#define JAY_TOOLS_JAY_CLIENT_H

#include <CLI/CLI.hpp>
#include <string>

#include "tools/common/DefaultPort.h"

/** Who the tool is on the bus, and where the server is: what every command that connects is told. */
struct Client {
    int id = 0;  ///< 0..31
    std::string host = "127.0.0.1";
    int port = DEFAULT_PORT;

    void describe(CLI::App& app);

    /** "host:port" for messages to the user. */
    std::string server() const;
};

#endif
