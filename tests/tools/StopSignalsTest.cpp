#include "tools/jay/StopSignals.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

namespace {

/** In a process of its own: what has come once stays. @return 0, or the number of the step that failed. */
int stepsOfAStop() {
    StopSignals::watch();
    int ends[2];
    if (pipe(ends) != 0) return 1;
    if (StopSignals::wait(ends[0], POLLIN, 0) != StopSignals::TIME_UP) return 2;
    if (write(ends[1], "x", 1) != 1) return 3;
    if (StopSignals::wait(ends[0], POLLIN, -1) != StopSignals::READY) return 4;
    raise(SIGTERM);
    if (StopSignals::last() != SIGTERM) return 5;
    if (StopSignals::wait(ends[0], POLLIN, -1) != StopSignals::READY)
        return 6;  // what is ready can still be used
    char byte = 0;
    if (read(ends[0], &byte, 1) != 1) return 7;
    if (StopSignals::wait(ends[0], POLLIN, -1) != StopSignals::STOPPED) return 8;
    pollfd entry{StopSignals::descriptor(), POLLIN, 0};
    return poll(&entry, 1, 0) == 1 ? 0 : 9;
}

TEST(StopSignalsTest, EndEveryWaitFromTheFirstOn) {
    EXPECT_EXIT(std::exit(stepsOfAStop()), testing::ExitedWithCode(0), "");
}

TEST(StopSignalsTest, EndTheProcessUntilTheyAreWatched) {
    EXPECT_EXIT(raise(SIGTERM), testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ(StopSignals::last(), 0);
}

}  // namespace
