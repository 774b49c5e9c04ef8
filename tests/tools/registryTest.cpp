#include "tools/jay/commands/registry.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

TEST(registryTest, HasEveryCommandOnce) {
    std::set<std::string> names;
    for (const auto& command : allCommands()) {
        EXPECT_TRUE(names.insert(command->name()).second) << command->name();
        EXPECT_STRNE(command->summary(), "");
    }
    EXPECT_EQ(names, (std::set<std::string>{"bench", "db", "dump", "echo", "listen", "ping", "request",
                                            "send", "wake"}));
}

}  // namespace
