#include "tools/jay/Status.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace {

TEST(StatusTest, IsThatOfAShellAfterASignal) {
    EXPECT_EQ(endedBy(SIGINT), 130);
    EXPECT_EQ(endedBy(SIGTERM), 143);
}

TEST(StatusTest, IsExplainedInTheHelp) {
    const std::string help = exitStatusHelp("no answer");
    for (const char* line : {"  0        done\n", "  1        no answer\n", "  2        wrong use\n",
                             "  3        no server", "  128 + N  "})
        EXPECT_NE(help.find(line), std::string::npos) << line;
}

}  // namespace
