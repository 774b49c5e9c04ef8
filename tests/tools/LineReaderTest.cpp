#include "tools/jay/LineReader.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace {

/** Reads from a pipe that the test fills. */
class LineReaderTest : public testing::Test {
protected:
    LineReaderTest() { EXPECT_EQ(pipe(ends_), 0); }
    ~LineReaderTest() override {
        close(ends_[0]);
        closeInput();
    }

    void write(const std::string& text) {
        EXPECT_EQ(::write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void closeInput() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

    void expectLine(const std::string& expected) {
        std::string line;
        EXPECT_EQ(reader_.next(line), LineReader::LINE);
        EXPECT_EQ(line, expected);
    }

    LineReader::Result next() {
        std::string line;
        return reader_.next(line);
    }

    int ends_[2] = {-1, -1};
    bool goesOn_ = true;
    LineReader reader_{0, 0, nullptr};

    void SetUp() override {
        reader_ = LineReader(ends_[0], 10, [this] { return goesOn_; });
    }
};

TEST_F(LineReaderTest, GivesLinesWithoutTheirEnds) {
    write("one\n\nthr");
    expectLine("one");
    expectLine("");
    write("ee\nfour");
    expectLine("three");
    closeInput();
    expectLine("four");
    EXPECT_EQ(next(), LineReader::END);
}

TEST_F(LineReaderTest, RefusesALineThatIsTooLong) {
    write("0123456789\n0123456789a");
    expectLine("0123456789");
    EXPECT_EQ(next(), LineReader::TOO_LONG);
}

TEST_F(LineReaderTest, EndsTheWaitWhenItIsOfNoUse) {
    goesOn_ = false;
    EXPECT_EQ(next(), LineReader::STOPPED);
}

TEST_F(LineReaderTest, TellsThatTheInputCannotBeRead) {
    reader_ = LineReader(ends_[1], 10, [] { return true; });  // the end for writing
    closeInput();
    EXPECT_EQ(next(), LineReader::FAILED);
    EXPECT_EQ(errno, EBADF);
}

}  // namespace
