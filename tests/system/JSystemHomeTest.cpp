#include <atomic>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Thread.h"
#include "system/JSystem.h"

namespace {

std::string currentDirectory() {
    char path[PATH_MAX];
    return getcwd(path, sizeof path) != nullptr ? path : "";
}

/** The parent of what /bin really is on this machine (or in the tree that an emulator opens files in). */
std::string expectedHome() {
    const int bin = open("/bin", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    char path[PATH_MAX] = "";
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(bin)).c_str(), path, sizeof path);
    close(bin);
    const std::string resolved(path, length > 0 ? static_cast<size_t>(length) : 0);
    return resolved.substr(0, resolved.rfind('/'));
}

std::string home() {
    return static_cast<const char*>(JSystem::getHomeDirectory());
}

int openDescriptors() {
    int number = 0;
    DIR* const directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr) ++number;
    closedir(directory);
    return number;
}

/** A temporary directory to be in; back in the old one at the end. */
class JSystemHomeTest : public ::testing::Test {
protected:
    JSystemHomeTest() : back_(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        char name[] = "/tmp/jay-test-XXXXXX";
        if (mkdtemp(name) == nullptr || chdir(name) != 0) std::abort();
        directory = name;
    }
    ~JSystemHomeTest() override {
        EXPECT_EQ(fchdir(back_), 0);
        close(back_);
        rmdir(directory.c_str());
    }

    std::string directory;

private:
    const int back_;
};

ino_t inodeOfCurrentDirectory() {
    struct stat status = {};
    EXPECT_EQ(stat(".", &status), 0);
    return status.st_ino;
}

}  // namespace

TEST_F(JSystemHomeTest, IsTheParentOfTheDirectoryOfPrograms) {
    EXPECT_EQ(home(), expectedHome());
}

TEST_F(JSystemHomeTest, LeavesTheCurrentDirectoryAndNoDescriptorOpen) {
    const int descriptors = openDescriptors();
    home();
    EXPECT_EQ(currentDirectory(), directory);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(JSystemHomeTest, IsTheSameInTheDirectoryOfPrograms) {
    ASSERT_EQ(chdir("/bin"), 0);
    const std::string before = currentDirectory();
    EXPECT_EQ(home(), expectedHome());
    EXPECT_EQ(currentDirectory(), before);
}

TEST_F(JSystemHomeTest, IsTheSameInADirectoryThatWasRemoved) {
    ASSERT_EQ(rmdir(directory.c_str()), 0);
    const ino_t before = inodeOfCurrentDirectory();
    EXPECT_EQ(home(), expectedHome());
    EXPECT_EQ(inodeOfCurrentDirectory(), before);
}

TEST_F(JSystemHomeTest, IsTheSameInADirectoryThatIsTooDeep) {
    const std::string name(200, 'd');
    constexpr int DEPTH = 6;
    for (int i = 0; i < DEPTH; ++i) {
        ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
        ASSERT_EQ(chdir(name.c_str()), 0);
    }
    const std::string before = currentDirectory();
    ASSERT_GT(before.size(), 1024u);
    EXPECT_EQ(home(), expectedHome());
    EXPECT_EQ(currentDirectory(), before);
    for (int i = 0; i < DEPTH; ++i) {
        ASSERT_EQ(chdir(".."), 0);
        ASSERT_EQ(rmdir(name.c_str()), 0);
    }
}

TEST_F(JSystemHomeTest, ThreadsThatCallItAtOnce_GetTheSameResultAndStayWhereTheyAre) {
    const std::string expected = expectedHome();
    std::atomic<int> wrong{0};
    const auto callOften = [&] {
        for (int i = 0; i < 2000; ++i) {
            if (home() != expected || currentDirectory() != directory) ++wrong;
        }
    };
    support::Thread other(callOften);
    callOften();
    other.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(JSystemHomeTest, SelfCheck_HasNoOtherEffect) {
    JSystem::Test();
    EXPECT_EQ(currentDirectory(), directory);
}
