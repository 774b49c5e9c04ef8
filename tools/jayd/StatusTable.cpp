#include "tools/jayd/StatusTable.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <numeric>

namespace {

constexpr int CONNECTED = 2;

const char* wordFor(int state) {
    static const char* const WORDS[] = {"away", "called", "connected", "lost", "closed"};
    return state >= 0 && state < static_cast<int>(std::size(WORDS)) ? WORDS[state] : "?";
}

std::string print(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string print(const char* format, ...) {
    char line[200];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    return line;
}

int connectedClients(const SM::Status& status) {
    return static_cast<int>(std::count_if(std::begin(status.clients), std::end(status.clients),
                                          [](const SM::ClientStatus& c) { return c.state == CONNECTED; }));
}

long long waitingMessages(const SM::Status& status) {
    return std::accumulate(std::begin(status.clients), std::end(status.clients), 0LL,
                           [](long long sum, const SM::ClientStatus& c) { return sum + c.queued; });
}

std::string uptime(std::chrono::seconds up) {
    const long long s = up.count();
    return print("%lld d %02d:%02d:%02d", s / 86400, static_cast<int>(s / 3600 % 24),
                 static_cast<int>(s / 60 % 60), static_cast<int>(s % 60));
}

std::string row(int id, const SM::ClientStatus& client) {
    const std::string from = client.port != 0 ? client.host + (":" + std::to_string(client.port)) : "-";
    return print("jayd:   %2d  %-9s %9d %10d  %s\n", id, wordFor(client.state), client.queued, client.in,
                 from.c_str());
}

}  // namespace

std::string statusTable(const SM::Status& status, int port, std::chrono::seconds up) {
    std::string table = print("jayd: status: port %d, up %s, %d of %d clients connected\n", port,
                              uptime(up).c_str(), connectedClients(status), SM::MAX_CLIENTS);
    table += print("jayd: messages: %d in, %d routed, %d to be routed, %lld waiting for their clients\n",
                   status.in, status.out, status.waiting, waitingMessages(status));
    table += "jayd:   id  state        queued         in  connected from\n";
    int id = 0;
    for (const SM::ClientStatus& client : status.clients) {
        if (client.state >= 0) table += row(id, client);
        id++;
    }
    return table + "jayd: end of status\n";
}

std::string statusLine(const SM::Status& status, int port) {
    return print("listening on port %d, %d clients connected, %lld messages waiting", port,
                 connectedClients(status), waitingMessages(status));
}
