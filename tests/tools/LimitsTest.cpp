#include "tools/jay/Limits.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <signal.h>
#include <string>
#include <vector>

namespace {

/** Limits as the command line sets them. */
Limits limitsOf(std::initializer_list<const char*> options) {
    Limits limits;
    CommandLine line("jay", "");
    limits.describe(line.addCommand("listen", ""), "");
    std::vector<std::string> words{"jay", "listen"};
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    EXPECT_EQ(line.read(static_cast<int>(arguments.size()), arguments.data()), CommandLine::READ);
    limits.start();
    return limits;
}

TEST(LimitsTest, CountMessages) {
    EXPECT_FALSE(limitsOf({}).isReached(1000000));
    EXPECT_FALSE(limitsOf({"--count", "3"}).isReached(2));
    EXPECT_TRUE(limitsOf({"--count", "3"}).isReached(3));
}

TEST(LimitsTest, LetAWaitBeAsLongAsTheShorterTime) {
    EXPECT_EQ(limitsOf({}).wait(Session::FOR_EVER), Session::FOR_EVER);
    EXPECT_EQ(limitsOf({}).wait(200), 200);
    EXPECT_EQ(limitsOf({"--for", "3600000"}).wait(200), 200);
    const int rest = limitsOf({"--for", "3600000"}).wait(Session::FOR_EVER);
    EXPECT_LE(rest, 3600000);
    EXPECT_GT(rest, 3000000);
    EXPECT_EQ(limitsOf({"--for", "0"}).wait(200), 0);
}

TEST(LimitsTest, TellTheStatus) {
    EXPECT_EQ(limitsOf({}).ended(Session::TIME_UP, 1), DONE);
    EXPECT_EQ(limitsOf({}).ended(Session::TIME_UP, 0), UNFINISHED);
    EXPECT_EQ(limitsOf({"--count", "2"}).ended(Session::TIME_UP, 1), UNFINISHED);
    EXPECT_EQ(limitsOf({}).ended(Session::LOST, 5), NO_SERVER);
    EXPECT_EQ(limitsOf({"--count", "2"}).ended(Session::OUTPUT_GONE, 1), DONE);
}

}  // namespace
