#ifndef JAY_TOOLS_JAY_CLIENT_H
#define JAY_TOOLS_JAY_CLIENT_H

#include <string>
#include <vector>

#include "tools/common/DefaultPort.h"
#include "tools/jay/CommandLine.h"

/** The tool's ids on the bus, where the server is, and how long it waits: the options of every command that connects. */
struct Client {
    static constexpr int FOR_EVER = -1;

    std::vector<int> ids;  ///< 0..31, none twice; empty: the session takes as many spare ids as `spares`
    std::size_t spares = 0;
    std::string host = "127.0.0.1";
    int port = DEFAULT_PORT;
    int timeout = FOR_EVER;  ///< milliseconds

    /** --host, --port, --id and --timeout, whose default is the initial value of `timeout`. Without --id the command gets a spare id. */
    void describe(CommandLine& line, const std::string& timeoutMeaning);

    /** The same, but --id may name several: separated by commas, or given repeatedly. It is required if `spares` is 0. */
    void describeSeveral(CommandLine& line, const std::string& timeoutMeaning, const std::string& idMeaning);

    /** --host and --port alone, for a command whose id is settled. */
    void describeServer(CommandLine& line);

    int id() const { return ids.front(); }

    /** "client 7", or "clients 5, 7". */
    std::string name() const;

    /** "host:port" for messages to the user. */
    std::string server() const;

private:
    void describeRest(CommandLine& line, const std::string& timeoutMeaning);
    void dropRepeated();

    int only_ = -1;  // what --id says where it names one id
};

#endif
