#include "tools/jayd/PidFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/TemporaryFolder.h"

namespace {

class PidFileTest : public testing::Test {
protected:
    std::string path() const { return folder_.path("jayd.pid"); }
    std::string refusal(const std::string& what) const { return "the pid file '" + path() + "' " + what; }

    static std::string ownLine() { return std::to_string(getpid()) + "\n"; }

    /** Takes a name that is free. */
    void publish(PidFile& file) const {
        EXPECT_EQ(file.prepare(), "");
        EXPECT_EQ(file.publish(), "");
    }

    TemporaryFolder folder_;
};

TEST_F(PidFileTest, IsThereWholeFromPublishToRemove) {
    PidFile file(path());
    EXPECT_EQ(file.prepare(), "");
    EXPECT_FALSE(folder_.holds("jayd.pid"));
    EXPECT_EQ(file.publish(), "");
    EXPECT_EQ(folder_.read("jayd.pid"), ownLine());
    file.remove();
    EXPECT_FALSE(folder_.holds("jayd.pid"));
}

TEST_F(PidFileTest, IsRemovedWithTheObject) {
    {
        PidFile file(path());
        publish(file);
    }
    EXPECT_FALSE(folder_.holds("jayd.pid"));
}

TEST_F(PidFileTest, LeavesNothingBehindWhenItIsNeverPublished) {
    { EXPECT_EQ(PidFile(path()).prepare(), ""); }
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path("")));
}

TEST_F(PidFileTest, ReplacesOneThatWasLeftBehind) {
    for (const char* left : {"12345\n", "12345", ""}) {
        folder_.write("jayd.pid", left);
        PidFile file(path());
        publish(file);
        EXPECT_EQ(folder_.read("jayd.pid"), ownLine());
    }
}

TEST_F(PidFileTest, IsRefusedWhileAnotherUsesIt) {
    PidFile first(path()), second(path());
    publish(first);
    EXPECT_EQ(second.prepare(), refusal("is in use by the jayd with process id " + std::to_string(getpid()) +
                                        "; end that one, or choose another name"));
    EXPECT_EQ(folder_.read("jayd.pid"), ownLine());
}

TEST_F(PidFileTest, IsRefusedWhenAnotherCameFirstMeanwhile) {
    PidFile first(path()), second(path());
    EXPECT_EQ(first.prepare(), "");
    publish(second);
    EXPECT_NE(first.publish(), "");
}

TEST_F(PidFileTest, NeverTouchesAnotherFile) {
    folder_.write("jayd.pid", "precious");
    PidFile file(path());
    EXPECT_EQ(file.prepare(),
              refusal("exists and does not hold a process id; remove it, or choose another name"));
    EXPECT_EQ(folder_.read("jayd.pid"), "precious");
    std::filesystem::remove(path());
    std::filesystem::create_directory(path());
    EXPECT_NE(PidFile(path()).prepare(), "");
}

TEST_F(PidFileTest, DoesNotRemoveWhatSomebodyPutInItsPlace) {
    PidFile file(path());
    publish(file);
    std::filesystem::remove(path());
    folder_.write("jayd.pid", "precious");
    file.remove();
    EXPECT_EQ(folder_.read("jayd.pid"), "precious");
}

TEST_F(PidFileTest, TellsWhyItCannotBeWritten) {
    EXPECT_EQ(PidFile("/nowhere/jayd.pid").prepare(),
              "the pid file '/nowhere/jayd.pid' cannot be written: No such file or directory; choose a "
              "folder that can be written to");
}

TEST_F(PidFileTest, DoesNothingWithoutAName) {
    PidFile file("");
    publish(file);
}

}  // namespace
