#include "tools/jayd/PidFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr mode_t READABLE_BY_ALL = 0644;
constexpr std::size_t LONGEST = 16;  ///< a process id, a line end, and more than enough

/** What a file holds, cut after a few bytes; its line end is left out. */
std::string firstLine(int fd) {
    char text[LONGEST];
    const ssize_t got = read(fd, text, sizeof text);
    std::string line(text, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (!line.empty() && line.back() == '\n') line.pop_back();
    return line;
}

/** An empty one was left by a crash of the machine. */
bool isPid(int fd, const std::string& line) {
    struct stat file {};
    return fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && line.size() < LONGEST &&
           line.find_first_not_of("0123456789") == std::string::npos;
}

bool isSameFile(const char* path, int fd) {
    struct stat named {};
    struct stat open {};
    return lstat(path, &named) == 0 && fstat(fd, &open) == 0 && named.st_ino == open.st_ino &&
           named.st_dev == open.st_dev;
}

}  // namespace

PidFile::PidFile(std::string file) : path(std::move(file)), fd(-1) {
}

PidFile::~PidFile() {
    remove();
}

std::string PidFile::trouble(const char* what) const {
    return "the pid file '" + path + "' " + what;
}

std::string PidFile::whatIsInTheWay() const {
    const int other = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (other < 0 && errno == ENOENT) return "";
    if (other < 0) return trouble("cannot be examined: ") + std::strerror(errno) + "; choose another name";
    const std::string line = firstLine(other);
    const bool mine = isPid(other, line);
    const bool free = flock(other, LOCK_SH | LOCK_NB) == 0;
    close(other);
    if (!mine) return trouble("exists and does not hold a process id; remove it, or choose another name");
    if (!free)
        return trouble("is in use by the jayd with process id ") + line +
               "; end that one, or choose another name";
    return "";
}

std::string PidFile::prepare() {
    if (path.empty()) return "";
    if (std::string refusal = whatIsInTheWay(); !refusal.empty()) return refusal;
    std::string name = path + ".XXXXXX";
    fd = mkostemp(&name[0], O_CLOEXEC);
    if (fd >= 0) present = name;
    if (fd < 0 || !write()) {
        const char* const why = std::strerror(errno);
        remove();
        return trouble("cannot be written: ") + why + "; choose a folder that can be written to";
    }
    return "";
}

bool PidFile::write() {
    const std::string line = std::to_string(getpid()) + "\n";
    return ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
           fchmod(fd, READABLE_BY_ALL) == 0 && flock(fd, LOCK_EX | LOCK_NB) == 0;
}

std::string PidFile::publish() {
    if (path.empty()) return "";
    // Again: another jayd may have come first meanwhile.
    if (std::string refusal = whatIsInTheWay(); !refusal.empty()) return refusal;
    if (rename(present.c_str(), path.c_str()) != 0)
        return trouble("cannot be written: ") + std::strerror(errno) + "; choose another name";
    present = path;
    return "";
}

void PidFile::remove() {
    if (!present.empty() && isSameFile(present.c_str(), fd)) unlink(present.c_str());
    present.clear();
    if (fd >= 0) close(fd);
    fd = -1;
}
