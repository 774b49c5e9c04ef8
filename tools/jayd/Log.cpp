#include "tools/jayd/Log.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

#include "tools/common/Harmless.h"

namespace {

constexpr mode_t LOG_MODE = 0640;  // the log tells who sends to whom

/** Fails for a named pipe that no program reads, instead of waiting for one. */
int openToAppend(const char* path) {
    const int fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_NONBLOCK | O_CLOEXEC, LOG_MODE);
    if (fd >= 0) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

}  // namespace

Log::Log(std::string file) : path(std::move(file)), starting(true), starter(-1) {
}

Log::~Log() {
    started();
}

std::string Log::open() {
    if (path.empty()) return "";
    const int fd = openToAppend(path.c_str());
    if (fd < 0) {
        const char* const why = std::strerror(errno);
        return "cannot write the log '" + path + "': " + why + "; name a file that can be written with --log";
    }
    if (starting && starter < 0) starter = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(fd, STDERR_FILENO);  // in one step: a line written meanwhile goes to the one or to the other
    ::close(fd);
    return "";
}

void Log::complain(const std::string& line) {
    const std::string shown = harmless(line);
    std::fprintf(stderr, "jayd: %s\n", shown.c_str());
    if (starter >= 0) dprintf(starter, "jayd: %s\n", shown.c_str());
}

void Log::announce(const std::string& line) {
    if (std::fprintf(stderr, "jayd: %s\n", line.c_str()) >= 0 || starter < 0) return;
    const std::string why = std::strerror(errno);
    const std::string shown = harmless("cannot write to the log '" + path + "': " + why);
    dprintf(starter, "jayd: %s; serving all the same\n", shown.c_str());
}

void Log::started() {
    if (starter >= 0) ::close(starter);
    starter = -1;
    starting = false;
}
