#include "tools/jay/WakeTable.h"

#include <gtest/gtest.h>
#include <string>

#include "tools/TemporaryFolder.h"

using namespace std::string_literals;

namespace {

class WakeTableTest : public testing::Test {
protected:
    WakeTable read(const std::string& text) const { return WakeTable::read(folder_.write("table", text)); }

    void expectError(const std::string& text, const std::string& error) const {
        EXPECT_EQ(read(text).error, "'" + folder_.path("table") + "'" + error);
    }

    TemporaryFolder folder_;
};

TEST_F(WakeTableTest, HasACommandForEachClient) {
    const WakeTable table = read("# comment\n\n5 player --bus 5 \n\t31\texec jay echo --id 31\r\n");
    EXPECT_EQ(table.error, "");
    EXPECT_EQ(table.commands,
              (std::map<int, std::string>{{5, "player --bus 5"}, {31, "exec jay echo --id 31"}}));
}

TEST_F(WakeTableTest, MayBeginWithAByteOrderMarkAndEndWithoutALineEnd) {
    EXPECT_EQ(read("\xef\xbb\xbf"
                   "1 true")
                  .commands.at(1),
              "true");
}

TEST_F(WakeTableTest, NamesTheLineThatIsWrong) {
    expectError("5 true\n0 false\n", ", line 2: '0' is not an id; expected 1..31, blanks and a command");
    expectError("32 true\n", ", line 1: '32' is not an id; expected 1..31, blanks and a command");
    expectError("x\n", ", line 1: 'x' is not an id; expected 1..31, blanks and a command");
    expectError("5\n", ", line 1: the command for client 5 is missing");
    expectError("5 true\n5 false\n", ", line 2: client 5 has a command already");
    expectError("5 a\0b\n"s, ", line 1: there is a zero byte in it; is this a text file?");
    expectError("5 " + std::string(100001, 'x'),
                ", line 1: the command for client 5 is too long for a shell; put it into a script");
    expectError("# nothing\n", " names no client");
}

TEST_F(WakeTableTest, TellsWhyAFileCannotBeRead) {
    EXPECT_EQ(WakeTable::read("/nowhere/table").error,
              "cannot read '/nowhere/table': No such file or directory");
}

}  // namespace
