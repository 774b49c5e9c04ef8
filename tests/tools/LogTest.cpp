#include "tools/jayd/Log.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/TemporaryFolder.h"

namespace {

/** Standard error leads to the file "starter", as if the test had been started so; each test restores it. */
class LogTest : public testing::Test {
protected:
    LogTest() : before_(dup(STDERR_FILENO)) {
        std::FILE* const starter = std::fopen(folder_.path("starter").c_str(), "a");
        dup2(fileno(starter), STDERR_FILENO);
        std::fclose(starter);
    }
    ~LogTest() override {
        dup2(before_, STDERR_FILENO);
        close(before_);
    }

    std::string path() const { return folder_.path("log"); }

    TemporaryFolder folder_;
    const int before_;
};

TEST_F(LogTest, TakesThePlaceOfStandardError) {
    folder_.write("log", "before\n");
    Log log(path());
    EXPECT_EQ(log.open(), "");
    std::fputs("from the library\n", stderr);
    log.announce("listening");
    EXPECT_EQ(folder_.read("log"), "before\nfrom the library\njayd: listening\n");
    EXPECT_EQ(folder_.read("starter"), "");
}

TEST_F(LogTest, LeavesStandardErrorAloneWithoutAName) {
    Log log("");
    EXPECT_EQ(log.open(), "");
    log.complain("wrong");
    EXPECT_EQ(folder_.read("starter"), "jayd: wrong\n");
}

TEST_F(LogTest, TellsWhoStartedItWhatIsWrongUntilItHasStarted) {
    Log log(path());
    EXPECT_EQ(log.open(), "");
    log.complain("first\x1b");
    log.started();
    log.complain("second");
    EXPECT_EQ(folder_.read("log"), "jayd: first\\x1b\njayd: second\n");
    EXPECT_EQ(folder_.read("starter"), "jayd: first\\x1b\n");
}

TEST_F(LogTest, GoesToANewFileWhenTheOldOneWasRenamed) {
    Log log(path());
    EXPECT_EQ(log.open(), "");
    log.started();
    log.announce("old");
    std::filesystem::rename(path(), folder_.path("log.1"));
    log.announce("still old");
    EXPECT_EQ(log.open(), "");
    log.announce("new");
    EXPECT_EQ(folder_.read("log.1"), "jayd: old\njayd: still old\n");
    EXPECT_EQ(folder_.read("log"), "jayd: new\n");
    EXPECT_EQ(folder_.read("starter"), "");
}

TEST_F(LogTest, StaysInTheOldFileWhenTheNewOneCannotBeOpened) {
    Log log(path());
    EXPECT_EQ(log.open(), "");
    std::filesystem::rename(path(), folder_.path("log.1"));
    std::filesystem::create_directory(path());
    EXPECT_EQ(log.open(), "cannot write the log '" + path() +
                              "': Is a directory; name a file that can be written with --log");
    log.announce("old");
    EXPECT_EQ(folder_.read("log.1"), "jayd: old\n");
}

TEST_F(LogTest, IsNotForEverybody) {
    const mode_t before = umask(0);
    Log log(path());
    EXPECT_EQ(log.open(), "");
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(LogTest, TellsWhoStartedItThatTheDiskIsFull) {
    Log log("/dev/full");
    EXPECT_EQ(log.open(), "");
    log.announce("listening");
    EXPECT_EQ(folder_.read("starter"),
              "jayd: cannot write to the log '/dev/full': No space left on device; serving all the same\n");
}

}  // namespace
