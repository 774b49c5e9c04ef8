#include "tools/jayd/StatusTable.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

SM::Status someStatus() {
    SM::Status status{};
    for (SM::ClientStatus& client : status.clients) client.state = -1;
    status.in = 7;
    status.out = 6;
    status.waiting = 1;
    status.clients[5].state = 2;
    status.clients[5].in = 4;
    status.clients[5].port = 4711;
    std::strcpy(status.clients[5].host, "127.0.0.1");
    status.clients[9].state = 1;
    status.clients[9].queued = 3;
    status.clients[9].in = 3;
    return status;
}

TEST(StatusTableTest, HasARowForEachClientThatWasSeen) {
    EXPECT_EQ(statusTable(someStatus(), 23117, std::chrono::seconds(90061)),
              "jayd: status: port 23117, up 1 d 01:01:01, 1 of 32 clients connected\n"
              "jayd: messages: 7 in, 6 routed, 1 to be routed, 3 waiting for their clients\n"
              "jayd:   id  state        queued         in  connected from\n"
              "jayd:    5  connected         0          4  127.0.0.1:4711\n"
              "jayd:    9  called            3          3  -\n"
              "jayd: end of status\n");
}

TEST(StatusTableTest, HasAShortForm) {
    EXPECT_EQ(statusLine(someStatus(), 23117),
              "listening on port 23117, 1 clients connected, 3 messages waiting");
}

}  // namespace
