#include "tools/jay/IdClaims.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/** A port of this process alone: claims of real commands must not get in the way. */
int ownPort() {
    return 1000000 + getpid();
}

TEST(IdClaimsTest, GiveEachIdToOneAtATime) {
    IdClaims first(ownPort()), second(ownPort()), elsewhere(ownPort() + 10000000);
    EXPECT_TRUE(first.claim(7));
    EXPECT_FALSE(second.claim(7));
    EXPECT_FALSE(first.claim(7));
    EXPECT_TRUE(second.claim(8));
    EXPECT_TRUE(elsewhere.claim(7));
}

TEST(IdClaimsTest, EndWithTheirObject) {
    { EXPECT_TRUE(IdClaims(ownPort()).claim(7)); }
    EXPECT_TRUE(IdClaims(ownPort()).claim(7));
}

TEST(IdClaimsTest, TakeTheHighestSpareIdsThatAreFree) {
    IdClaims others(ownPort()), mine(ownPort()), late(ownPort());
    others.claim(31);
    others.claim(29);
    EXPECT_EQ(mine.claimSpare(2), (std::vector<int>{30, 28}));
    EXPECT_EQ(late.claimSpare(10), (std::vector<int>{27, 26, 25, 24}));
}

}  // namespace
