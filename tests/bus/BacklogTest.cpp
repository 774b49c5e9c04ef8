#include "bus/detail/Backlog.h"

#include <cstdio>
#include <gtest/gtest.h>

#include "bus/Server.h"

using bus::Client;
using bus::Server;
using bus::to;
using jay::detail::Backlog;
using support::eventually;

namespace {

TEST(BacklogTest, AFloodIsOverWhenTheQueueIsEmpty) {
    Backlog backlog;
    EXPECT_FALSE(backlog.taken(Backlog::FLOOD, Backlog::FLOOD - 1000));
    EXPECT_FALSE(backlog.taken(Backlog::FLOOD - 1000, 1));
    EXPECT_TRUE(backlog.taken(1, 0));
    EXPECT_FALSE(backlog.taken(1, 0)) << "the next one begins anew";
}

TEST(BacklogTest, FewMessagesAreNoFlood) {
    Backlog backlog;
    EXPECT_FALSE(backlog.taken(Backlog::FLOOD - 1, 0));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && defined(__GLIBC__)
// With a sanitizer the allocator is another one, which keeps what was freed.

long residentPages() {
    long size = 0;
    long resident = 0;
    std::FILE* const in = std::fopen("/proc/self/statm", "re");
    if (std::fscanf(in, "%ld %ld", &size, &resident) != 2) resident = -1;
    std::fclose(in);
    return resident;
}

TEST(BacklogTest, TheMemoryOfMessagesThatHaveWaitedGoesBackToTheSystem) {
    constexpr int COUNT = 300000;
    constexpr long MEGABYTE = 256;  // pages
    Server server;
    JSystem::debug(false);
    Client sender = server.attach(5);
    const long before = residentPages();
    std::string some;
    for (int i = 0; i < 1000; i++) some += to(7).from(5).says(std::string(100, '#')).bytes();
    for (int i = 0; i < COUNT / 1000; i++) sender.send(some);
    EXPECT_TRUE(eventually([&] { return server->status().clients[7].queued == COUNT; }));
    EXPECT_GT(residentPages(), before + 30 * MEGABYTE);
    Client receiver = server.attach(7);
    for (int i = 0; i < COUNT; i++) receiver.receive();
    EXPECT_TRUE(eventually([&] { return residentPages() < before + 8 * MEGABYTE; }))
        << residentPages() - before;
}
#endif

}  // namespace
