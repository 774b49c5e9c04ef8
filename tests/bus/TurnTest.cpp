#include "bus/detail/Turn.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "support/Thread.h"

using jay::detail::Turn;

namespace {

TEST(TurnTest, OneHasItAtATime) {
    Turn turn;
    EXPECT_TRUE(turn.take());
    EXPECT_FALSE(turn.take());
    EXPECT_FALSE(turn.giveBack()) << "somebody asked";
    EXPECT_TRUE(turn.giveBack());
    EXPECT_TRUE(turn.take());
}

TEST(TurnTest, GiveBack_LooksOnceMoreHoweverManyAsked) {
    Turn turn;
    turn.take();
    for (int i = 0; i < 5; i++) EXPECT_FALSE(turn.take());
    EXPECT_FALSE(turn.giveBack());
    EXPECT_FALSE(turn.take());
    EXPECT_FALSE(turn.giveBack());
    EXPECT_TRUE(turn.giveBack());
}

TEST(TurnTest, Leave_GivesItBackAtOnce) {
    Turn turn;
    turn.take();
    turn.take();
    turn.leave();
    EXPECT_TRUE(turn.take());
    EXPECT_TRUE(turn.giveBack());
}

TEST(TurnTest, ManyThreads_NoWorkIsLeftAndNoneIsDoneByTwo) {
    constexpr int EACH = 20000;
    Turn turn;
    std::atomic<int> waiting{0};
    int done = 0;  // touched by whoever has the turn
    const auto work = [&] {
        for (int i = 0; i < EACH; i++) {
            waiting++;
            if (!turn.take()) continue;
            do done += waiting.exchange(0);
            while (!turn.giveBack());
        }
    };
    {
        std::vector<std::unique_ptr<support::Thread>> threads;
        for (int i = 0; i < 4; i++) threads.push_back(std::make_unique<support::Thread>(work));
    }
    EXPECT_EQ(done, 4 * EACH);
    EXPECT_EQ(waiting, 0);
}

}  // namespace
