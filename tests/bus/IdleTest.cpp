/** @file A server with nothing to do does nothing: no thread of it wakes up but the listener, once a second. */
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include "bus/Server.h"

using bus::Client;
using bus::Server;
using bus::to;
using support::eventually;

namespace {

/** How often a thread of this process has gone to sleep so far. */
long sleepsOf(const char* thread) {
    const std::string path = std::string("/proc/self/task/") + thread + "/status";
    std::FILE* const in = std::fopen(path.c_str(), "re");
    if (in == nullptr) return 0;
    char text[4096];
    text[std::fread(text, 1, sizeof text - 1, in)] = '\0';
    std::fclose(in);
    constexpr char FIELD[] = "\nvoluntary_ctxt_switches:";
    const char* const at = std::strstr(text, FIELD);
    return at != nullptr ? std::atol(at + sizeof FIELD - 1) : 0;
}

/** The same of all threads but the calling one. */
long sleeps() {
    const std::string self = std::to_string(syscall(SYS_gettid));
    DIR* const folder = opendir("/proc/self/task");
    long sum = 0;
    while (const dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.' && entry->d_name != self) sum += sleepsOf(entry->d_name);
    closedir(folder);
    return sum;
}

long sleepsIn(long long ms) {
    const long before = sleeps();
    const net::Stopwatch watch;
    eventually([&] { return watch.ms() >= ms; });
    return sleeps() - before;
}

/** Nothing has happened for a while, and nothing does for a longer one. The listener's accept() gives up every second. */
void expectNoWakeUps() {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer's own thread wakes up ten times a second";
#endif
    EXPECT_TRUE(eventually([] { return sleepsIn(300) <= 1; }));
    EXPECT_LE(sleepsIn(2000), 3);
}

class IdleServerTest : public testing::Test {
protected:
    void SetUp() override {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP() << "the sanitizer has a thread of its own, which wakes up ten times a second";
#endif
    }
};

TEST_F(IdleServerTest, With31Clients_DoesNothing) {
    Server server;
    std::vector<Client> clients;
    for (int id = 1; id <= 31; id++) clients.push_back(server.connect(id));
    expectNoWakeUps();
}

TEST_F(IdleServerTest, WithAMessageForEachOf30AbsentClients_DoesNothing) {
    Server server;
    for (int id = 1; id <= 30; id++) server.add(to(id).from(31));
    for (int id = 1; id <= 30; id++) server.expectState(id, 1);
    expectNoWakeUps();
}

TEST_F(IdleServerTest, WithClientsThatHaveGone_DoesNothing) {
    Server server;
    for (int id = 1; id <= 10; id++) server.connect(id).close();
    for (int id = 1; id <= 10; id++) server.expectState(id, 0);
    expectNoWakeUps();
}

}  // namespace
