#include "tools/jayd/Options.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

class OptionsTest : public testing::Test {
protected:
    Options parse(std::initializer_list<const char*> given) {
        std::vector<std::string> words{"jayd"};
        words.insert(words.end(), given.begin(), given.end());
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        testing::internal::CaptureStderr();
        const Options options = Options::parse(static_cast<int>(words.size()), arguments.data());
        error_ = testing::internal::GetCapturedStderr();
        return options;
    }

    void expectRefused(std::initializer_list<const char*> given, const std::string& error) {
        EXPECT_EQ(parse(given).action, Options::REFUSE);
        EXPECT_EQ(error_, "jayd: " + error + "; 'jayd --help' shows the usage\n");
    }

    std::string error_;
};

TEST_F(OptionsTest, HaveDefaults) {
    const Options options = parse({});
    EXPECT_EQ(options.action, Options::SERVE);
    EXPECT_EQ(options.port, DEFAULT_PORT);
    EXPECT_FALSE(options.listenAll);
    EXPECT_FALSE(options.quiet);
    EXPECT_EQ(options.log + options.pidFile, "");
}

TEST_F(OptionsTest, AreTakenInEveryForm) {
    const Options options = parse({"--port=7000", "-q", "--listen-all", "--log", "l", "--pid-file=p"});
    EXPECT_EQ(options.port, 7000);
    EXPECT_TRUE(options.listenAll);
    EXPECT_TRUE(options.quiet);
    EXPECT_EQ(options.log, "l");
    EXPECT_EQ(options.pidFile, "p");
    EXPECT_EQ(parse({"-p", "1"}).port, 1);
    EXPECT_EQ(parse({"-p65535"}).port, 65535);
    EXPECT_FALSE(parse({"--local-only"}).listenAll);
}

TEST_F(OptionsTest, AskForHelpOrTheVersionBeforeAnythingElse) {
    EXPECT_EQ(parse({"--help", "--nonsense"}).action, Options::SHOW_HELP);
    EXPECT_EQ(parse({"-V"}).action, Options::SHOW_VERSION);
}

TEST_F(OptionsTest, AreRefusedWhenWrong) {
    for (const char* port : {"0", "65536", "-1", "x", "", "80 ", "80x"})
        expectRefused({"--port", port},
                      std::string("'") + port + "' is not a port: give a number from 1 to 65535");
    expectRefused({"--port"}, "'--port' needs a value");
    expectRefused({"--log", ""}, "'--log' needs the name of a file");
    expectRefused({"--pid-file="}, "'--pid-file' needs the name of a file");
    expectRefused({"--nonsense"}, "there is no option '--nonsense', or it takes no value");
    expectRefused({"-x"}, "there is no option '-x', or it takes no value");
    expectRefused({"--listen-all=yes"}, "'--listen-all=yes' takes no value");
    expectRefused({"7000"}, "unexpected argument '7000'");
    expectRefused({"--local-only", "--listen-all"}, "--listen-all and --local-only exclude each other");
    expectRefused({"\x1b"}, "unexpected argument '\\x1b'");
}

}  // namespace
