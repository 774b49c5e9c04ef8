#include "tools/jay/Launcher.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <thread>
#include <vector>

using std::chrono::milliseconds;

namespace {

using Event = Launcher::Event;

/** A launcher with a clock that only the test turns, and its reports. The commands are real processes. */
class LauncherTest : public testing::Test {
protected:
    LauncherTest()
        : launcher_(
              pace_, [this](const Event& event) { events_.push_back(event); }, [this] { return now_; }) {}

    ~LauncherTest() override {
        for (const auto& [client, pid] : launcher_.running()) {
            kill(pid, SIGKILL);
            waitFor(Event::KILLED);
        }
    }

    void turn(int ms) { now_ += milliseconds(ms); }

    /** Ticks until something of that kind is reported. */
    Event waitFor(Event::Kind kind) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < deadline) {
            launcher_.tick();
            for (std::size_t i = 0; i < events_.size(); i++) {
                if (events_[i].kind != kind) continue;
                const Event found = events_[i];
                events_.erase(events_.begin(), events_.begin() + static_cast<std::ptrdiff_t>(i) + 1);
                return found;
            }
            std::this_thread::yield();
        }
        ADD_FAILURE() << "nothing of kind " << kind << " was reported";
        return {};
    }

    /** Asks for a client whose command fails, and waits until it has. @return how long it is left alone. */
    int failOnce() {
        launcher_.request(7);
        waitFor(Event::STARTED);
        return waitFor(Event::ENDED).wait;
    }

    void expectReported(Event::Kind kind) {
        ASSERT_FALSE(events_.empty());
        EXPECT_EQ(events_.back().kind, kind);
        events_.clear();
    }

    Launcher::Pace pace_;
    std::vector<Event> events_;
    Launcher::Clock::time_point now_{std::chrono::hours(1)};
    Launcher launcher_;
};

TEST_F(LauncherTest, StartsTheCommandOfAClientAndTellsHowItEnds) {
    launcher_.setCommands({{7, "exit 3"}});
    launcher_.request(7);
    const Event started = waitFor(Event::STARTED);
    EXPECT_EQ(started.client, 7);
    EXPECT_GT(started.pid, 0);
    const Event ended = waitFor(Event::ENDED);
    EXPECT_EQ(ended.pid, started.pid);
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.failures, 1);
    EXPECT_EQ(ended.wait, 1000);
    EXPECT_TRUE(launcher_.running().empty());
}

TEST_F(LauncherTest, HasNoCommandForAClientThatIsNotInTheTable) {
    launcher_.request(9);
    expectReported(Event::UNKNOWN);
}

TEST_F(LauncherTest, StartsNoSecondCopy) {
    launcher_.setCommands({{7, "exec sleep 600"}});
    launcher_.request(7);
    const int pid = waitFor(Event::STARTED).pid;
    launcher_.request(7);
    EXPECT_EQ(events_.back().pid, pid);
    expectReported(Event::RUNNING);
    EXPECT_EQ(launcher_.running(), (std::map<int, int>{{7, pid}}));
}

TEST_F(LauncherTest, KeepsARequestThatComesTooSoonAfterAFailure) {
    launcher_.setCommands({{7, "false"}});
    failOnce();
    turn(999);
    launcher_.request(7);
    EXPECT_EQ(events_.back().wait, 1);
    expectReported(Event::WAITING);
    launcher_.tick();
    EXPECT_TRUE(events_.empty());
    turn(1);
    launcher_.tick();
    expectReported(Event::STARTED);
    EXPECT_EQ(waitFor(Event::ENDED).failures, 2);
}

TEST_F(LauncherTest, WaitsTwiceAsLongAfterEachFailureUpToTheMostAndThenAnew) {
    pace_.mostBackoff = 3000;
    launcher_.setCommands({{7, "false"}});
    for (const int wait : {1000, 2000, 3000, 3000}) {
        EXPECT_EQ(failOnce(), wait);
        turn(wait);
    }
    launcher_.setCommands({{7, "true"}});
    EXPECT_EQ(failOnce(), 0);
    launcher_.setCommands({{7, "false"}});
    EXPECT_EQ(failOnce(), 1000);
}

TEST_F(LauncherTest, StartsNothingAgainWithoutARequest) {
    launcher_.setCommands({{7, "false"}});
    failOnce();
    turn(10000);
    launcher_.tick();
    EXPECT_TRUE(events_.empty());
}

TEST_F(LauncherTest, TakesAFailureAfterALongRunForTheFirst) {
    launcher_.setCommands({{7, "false"}});
    failOnce();
    turn(1000);
    launcher_.setCommands({{7, "exec sleep 600"}});
    launcher_.request(7);
    const int pid = waitFor(Event::STARTED).pid;
    turn(pace_.steady);
    kill(pid, SIGTERM);
    const Event killed = waitFor(Event::KILLED);
    EXPECT_EQ(killed.failures, 1);
    EXPECT_EQ(killed.wait, 1000);
}

TEST_F(LauncherTest, TakesTheEndByASignalForAFailure) {
    launcher_.setCommands({{7, "kill -9 $$"}});
    launcher_.request(7);
    EXPECT_EQ(waitFor(Event::KILLED).wait, 1000);
}

TEST_F(LauncherTest, LeavesClientsAloneSeparately) {
    launcher_.setCommands({{7, "false"}, {8, "true"}});
    failOnce();
    launcher_.request(8);
    EXPECT_EQ(waitFor(Event::STARTED).client, 8);
    waitFor(Event::ENDED);
}

}  // namespace
