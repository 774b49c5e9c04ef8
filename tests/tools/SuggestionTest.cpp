#include "tools/jay/Suggestion.h"

#include <gtest/gtest.h>

namespace {

TEST(NearestWordTest, IsAtMostTwoLettersAway) {
    const std::vector<std::string> words = {"listen", "send", "db"};
    EXPECT_EQ(nearestWord("sned", words), "send");
    EXPECT_EQ(nearestWord("snd", words), "send");
    EXPECT_EQ(nearestWord("sennd", words), "send");
    EXPECT_EQ(nearestWord("lisden", words), "listen");
    EXPECT_EQ(nearestWord("lsiten", words), "listen");
    EXPECT_EQ(nearestWord("frobnicate", words), "");
    EXPECT_EQ(nearestWord("xy", words), "");  // no letter of "db" is left
    EXPECT_EQ(nearestWord("", words), "");
    EXPECT_EQ(nearestWord(std::string(1000000, 's'), words), "");
}

}  // namespace
