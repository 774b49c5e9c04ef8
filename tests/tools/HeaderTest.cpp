#include "tools/jay/Header.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

class HeaderTest : public testing::Test {
protected:
    HeaderTest() : send_(line_.addCommand("send", "")) { header_.describe(send_); }

    CommandLine::Result read(std::initializer_list<const char*> given) {
        std::vector<std::string> words{"jay", "send"};
        words.insert(words.end(), given.begin(), given.end());
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        testing::internal::CaptureStderr();
        const CommandLine::Result result = line_.read(static_cast<int>(arguments.size()), arguments.data());
        error_ = testing::internal::GetCapturedStderr();
        return result;
    }

    void expectWrong(std::initializer_list<const char*> given, const std::string& error) {
        EXPECT_EQ(read(given), CommandLine::WRONG);
        EXPECT_NE(error_.find(error), std::string::npos) << error_;
    }

    CommandLine line_{"jay", ""};
    CommandLine& send_;
    Header header_;
    std::string error_;
};

TEST_F(HeaderTest, SetsEveryField) {
    ASSERT_EQ(read({"--to", "7", "--priority", "9", "--section", "4294967295", "--flags", "12", "--timestamp",
                    "5", "--source", "65535"}),
              CommandLine::READ);
    M m = header_.message("hello", 5);
    EXPECT_EQ(m.getDestId(), 7);
    EXPECT_EQ(m.getSrcId(), 65535);
    EXPECT_EQ(m.getPriority(), 9);
    EXPECT_EQ(m.getSection(), -1);
    EXPECT_EQ(m.getFlag(), 12);
    EXPECT_EQ(m.getTimestamp(), 5);
    EXPECT_EQ(m.size(), 21);
}

TEST_F(HeaderTest, IsFromOurIdAndHasNoSectionByDefault) {
    ASSERT_EQ(read({"--to", "7"}), CommandLine::READ);
    EXPECT_FALSE(header_.hasSection());
    M m = header_.message("", 5);
    EXPECT_EQ(m.getSrcId(), 5);
    EXPECT_EQ(m.getSection(), 0);
}

TEST_F(HeaderTest, CarriesTheTimeOfATimedMessageInItsStamp) {
    ASSERT_EQ(read({"--to", "7", "--timed", "3000"}), CommandLine::READ);
    M m = header_.message("", 5);
    EXPECT_EQ(m.getFlag(), M::M_FLAG_TIMED);
    EXPECT_EQ(m.getTimestamp(), 3000);
}

TEST_F(HeaderTest, NeedsAReceiver) {
    expectWrong({}, "--to, --sync or --broadcast is required");
    EXPECT_EQ(read({"--flags", "2"}), CommandLine::READ);
}

TEST_F(HeaderTest, RefusesABroadcastToOneClient) {
    expectWrong({"--broadcast", "--to", "7"}, "--broadcast excludes --to");
}

TEST_F(HeaderTest, RefusesATimedBroadcast) {
    expectWrong({"--broadcast", "--timed", "100"}, "--timed excludes --broadcast");
}

TEST_F(HeaderTest, RefusesATimeStampThatWouldBeReplaced) {
    expectWrong({"--to", "7", "--timestamp", "5"}, "only a message with --flags 4 keeps its time stamp");
    expectWrong({"--to", "7", "--timestamp", "5", "--timed", "9"}, "--timed excludes --timestamp");
}

}  // namespace
