/** @file A folder for the files of one test. */
#ifndef JAY_TESTS_TOOLS_TEMPORARYFOLDER_H
#define JAY_TESTS_TOOLS_TEMPORARYFOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/** Removed with all that is in it at the end of the scope. */
class TemporaryFolder {
public:
    TemporaryFolder() {
        char pattern[] = "/tmp/jaytools.XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path(const std::string& name) const { return path_ + "/" + name; }

    /** Writes a file. @return its path. */
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    bool holds(const std::string& name) const { return std::filesystem::exists(path(name)); }

private:
    std::string path_;
};

#endif
