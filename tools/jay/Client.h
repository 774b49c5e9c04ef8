#ifndef JAY_TOOLS_JAY_CLIENT_H
#define JAY_TOOLS_JAY_CLIENT_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/common/DefaultPort.h"

/** Who the tool is on the bus, where the server is, and how long it waits: what every command that connects is told. */
struct Client {
    static constexpr int FOR_EVER = -1;

    std::vector<int> ids;  ///< 0..31; none twice, never empty once the command line is read
    std::string host = "127.0.0.1";
    int port = DEFAULT_PORT;
    int timeout = FOR_EVER;  ///< milliseconds

    /** --host, --port, --id and --timeout, whose meaning the command tells. @param timeoutText default included. */
    void describe(CLI::App& app, const std::string& timeoutMeaning, const std::string& timeoutText = "MS");

    /** The same, but --id may name several: separated by commas, or given repeatedly. */
    void describeSeveral(CLI::App& app, const std::string& timeoutMeaning,
                         const std::string& timeoutText = "MS");

    /** --host and --port alone, for a command whose id is settled. */
    void describeServer(CLI::App& app);

    int id() const { return ids.front(); }

    /** "client 7", or "clients 5, 7". */
    std::string name() const;

    /** "host:port" for messages to the user. */
    std::string server() const;

private:
    void add(int id);
    void describeRest(CLI::App& app, const std::string& timeoutMeaning, const std::string& timeoutText);
};

#endif
