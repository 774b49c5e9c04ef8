#include "tools/jay/CommandLine.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

/** A program with two commands, one of which has a command below it. */
class CommandLineTest : public testing::Test {
protected:
    CommandLineTest()
        : line_("jay", "about"), send_(line_.addCommand("send", "")), db_(line_.addCommand("db", "")) {
        send_.addNumber("--to", to_, {0, 31}, "");
        send_.addNumbers("--size", sizes_, {0, 100}, "");
        send_.addChoice("--encoding", encoding_, {"utf-8", "raw"}, "");
        send_.addFlag("-v,--verbose", verbose_, "");
        send_.addArguments("TEXT", words_, "");
        send_.addCheck([this] { return to_ == 13 ? "13 is unlucky" : ""; });
        db_.addCommand("list", "").addArgument("FILE", file_, "");
    }

    CommandLine::Result read(std::initializer_list<const char*> given) {
        std::vector<std::string> words{"jay"};
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
        EXPECT_EQ(error_, "jay: " + error + "\n");
    }

    CommandLine line_;
    CommandLine& send_;
    CommandLine& db_;
    int to_ = -1;
    std::vector<int> sizes_ = {16};
    std::string encoding_ = "utf-8";
    bool verbose_ = false;
    std::vector<std::string> words_;
    std::string file_;
    std::string error_;
};

TEST_F(CommandLineTest, SetsTheVariables) {
    EXPECT_EQ(read({"send", "--to", "0x1f", "--size", "1,2", "--size", "3", "--encoding", "raw", "-v",
                    "hello", "world"}),
              CommandLine::READ);
    EXPECT_TRUE(send_.isUsed());
    EXPECT_FALSE(db_.isUsed());
    EXPECT_EQ(to_, 31);
    EXPECT_EQ(sizes_, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(encoding_, "raw");
    EXPECT_TRUE(verbose_);
    EXPECT_EQ(words_, (std::vector<std::string>{"hello", "world"}));
}

TEST_F(CommandLineTest, LeavesDefaultsAlone) {
    EXPECT_EQ(read({"send"}), CommandLine::READ);
    EXPECT_EQ(to_, -1);
    EXPECT_EQ(sizes_, std::vector<int>{16});
}

TEST_F(CommandLineTest, NamesTheRangeOfANumber) {
    for (const char* value : {"32", "-1", "seven", "", "1 ", "0x", "99999999999999999999"})
        expectWrong({"send", "--to", value},
                    std::string("--to: '") + value +
                        "' is not a number from 0 to 31; 'jay send --help' shows the usage");
    expectWrong({"send", "--size", "1,x"},
                "--size: 'x' is not a number from 0 to 100; 'jay send --help' shows the usage");
    expectWrong({"send", "--encoding", "x"},
                "--encoding: 'x' is not one of utf-8|raw; 'jay send --help' shows the usage");
}

TEST_F(CommandLineTest, NamesAnUnknownWordAndSuggestsTheNearest) {
    expectWrong({"sned", "--to", "7"},
                "there is no command 'sned'; did you mean 'send'?; 'jay --help' shows the usage");
    expectWrong({"db", "rm", "f"},
                "there is no command 'rm' (commands: list); 'jay db --help' shows the usage");
    expectWrong({"send", "--ot", "7"},
                "there is no option '--ot'; did you mean '--to'?; 'jay send --help' shows the usage");
    expectWrong({"db", "list", "f", "g"}, "'g' was not expected; 'jay db list --help' shows the usage");
}

TEST_F(CommandLineTest, WantsOneValueForAnOptionAndNoneForAFlag) {
    expectWrong({"send", "--to"}, "--to needs a value; 'jay send --help' shows the usage");
    expectWrong({"send", "--to", "5", "--to", "6"},
                "--to is given more than once; 'jay send --help' shows the usage");
    expectWrong({"send", "--verbose=yes"}, "--verbose takes no value; 'jay send --help' shows the usage");
}

TEST_F(CommandLineTest, NeedsACommand) {
    expectWrong({}, "a command is missing (commands: send, db); 'jay --help' shows the usage");
    expectWrong({"db"}, "a command is missing (commands: list); 'jay db --help' shows the usage");
}

TEST_F(CommandLineTest, ChecksValuesThatAreRightOneByOne) {
    expectWrong({"send", "--to", "13"}, "13 is unlucky; 'jay send --help' shows the usage");
}

TEST_F(CommandLineTest, PrintsDefaultsFromTheVariables) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(read({"send", "--help"}), CommandLine::SHOWN);
    const std::string help = testing::internal::GetCapturedStdout();
    for (const char* part :
         {"--to 0..31 ", "--size 0..100[,...] (default 16)", "--encoding utf-8|raw (default utf-8)"})
        EXPECT_NE(help.find(part), std::string::npos) << help;
}

}  // namespace
