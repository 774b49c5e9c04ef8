#include "tools/jay/DatabaseFile.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

namespace {

class DatabaseFileTest : public testing::Test {
protected:
    DatabaseFileTest() {
        char pattern[] = "/tmp/jayfile.XXXXXX";
        directory_ = mkdtemp(pattern);
    }
    ~DatabaseFileTest() override { std::filesystem::remove_all(directory_); }

    std::string path(const std::string& name = "notes") const { return directory_ + "/" + name; }

    void write(const std::string& bytes) const { std::ofstream(path(), std::ios::binary) << bytes; }

private:
    std::string directory_;
};

/** Records 1, abandoned and 3. */
const std::string THREE(
    "\x03\0\0\0\x29\0\0\0"
    "\x07\0\0\0\x01\0\0\0\x02"
    "ab"
    "\x07\0\0\0\xFF\xFF\xFF\xFF\x02"
    "cd"
    "\x07\0\0\0\x03\0\0\0\x02"
    "ef",
    41);

}  // namespace

TEST_F(DatabaseFileTest, Read_ListsTheRecordsThatHaveANumber) {
    write(THREE);
    const DatabaseFile file = DatabaseFile::read(path());
    EXPECT_TRUE(file.exists);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.damage, "");
    EXPECT_EQ(file.count, 3);
    EXPECT_EQ(file.ids, (std::set<int>{1, 3}));
}

TEST_F(DatabaseFileTest, Read_OfAFileThatDoesNotExistIsNoError) {
    const DatabaseFile file = DatabaseFile::read(path());
    EXPECT_FALSE(file.exists);
    EXPECT_EQ(file.error, "");
}

TEST_F(DatabaseFileTest, Read_ReportsDamageWithItsOffset) {
    write(THREE.substr(0, 35));
    EXPECT_NE(DatabaseFile::read(path()).damage.find("at offset 30"), std::string::npos)
        << DatabaseFile::read(path()).damage;
}

TEST_F(DatabaseFileTest, Read_RefusesWhatIsNotARegularFile) {
    EXPECT_NE(DatabaseFile::read(path("")).error.find("directory"), std::string::npos);
    EXPECT_NE(DatabaseFile::read("-").error, "");
    EXPECT_NE(DatabaseFile::read("/dev/null").error.find("not a regular file"), std::string::npos);
    EXPECT_NE(DatabaseFile::read("/proc/self/mem").error.find("Input/output error"), std::string::npos);
}

TEST_F(DatabaseFileTest, MakeFile_KeepsAFileThatExists) {
    write(THREE);
    EXPECT_NE(makeFile(path()), "");
    EXPECT_EQ(DatabaseFile::read(path()).bytes, THREE);
    EXPECT_EQ(makeFile(path("new")), "");
    EXPECT_EQ(DatabaseFile::read(path("new")).bytes, "");
}

TEST_F(DatabaseFileTest, ObstacleToWriting_IsEmptyForAFileThatMayBeWritten) {
    write(THREE);
    EXPECT_EQ(obstacleToWriting(path()), "");
    EXPECT_NE(obstacleToWriting(path("none")), "");
    EXPECT_EQ(DatabaseFile::read(path()).bytes, THREE);
}
