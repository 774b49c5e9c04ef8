// The worked example of docs/database-format.md, byte by byte against the code.

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>
#include <unistd.h>

#include "database/JDatabase.h"

namespace {

std::string fileContent(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/** The bytes that the lines of the example begin with. */
std::string exampleBytes() {
    std::istringstream lines(fileContent(JAY_SOURCE_DIR "/docs/database-format.md"));
    std::string line;
    while (std::getline(lines, line) && line != "<!-- example -->") {
    }
    std::getline(lines, line);  // the fence
    std::string bytes;
    while (std::getline(lines, line) && line != "```") {
        std::istringstream words(line);
        std::string hex;
        while (words >> hex && hex.size() == 2 &&
               hex.find_first_not_of("0123456789ABCDEF") == std::string::npos)
            bytes += static_cast<char>(std::stoi(hex, nullptr, 16));
    }
    return bytes;
}

}  // namespace

TEST(DatabaseDocTest, TheWorkedExampleIsWhatTheCodeWrites) {
    char directory[] = "/tmp/jaydoc.XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    JDatabase db;
    JDatabase::_path = directory;
    db.addRecord("notes", "abc");
    db.addRecord("notes", "tomatoes");
    db.setRecord("notes", 2, "salt");
    db.setRecord("notes", 1, "abcdef");
    const std::string path = std::string(directory) + "\\notes.db";
    EXPECT_EQ(fileContent(path), exampleBytes());
    EXPECT_EQ(exampleBytes().size(), 52U);
    unlink(path.c_str());
    rmdir(directory);
}
