#include "tools/jay/LineReader.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

#include "tools/jay/StopSignals.h"

namespace {
constexpr std::size_t PIECE = 65536;
constexpr int LOOK_UP_MS = 100;
}  // namespace

LineReader::Result LineReader::next(std::string& line) {
    while (!takeLine(line)) {
        if (rest_.size() > longest_) return TOO_LONG;
        if (ended_) {
            if (rest_.empty()) return END;
            line.swap(rest_);
            rest_.clear();
            return LINE;
        }
        const Result result = fill();
        if (result != LINE) return result;
    }
    return line.size() > longest_ ? TOO_LONG : LINE;
}

bool LineReader::takeLine(std::string& line) {
    const std::size_t end = rest_.find('\n');
    if (end == std::string::npos) return false;
    line = rest_.substr(0, end);
    rest_.erase(0, end + 1);
    return true;
}

/** LINE when there is more to look at, or the end was found. */
LineReader::Result LineReader::fill() {
    do {
        if (StopSignals::last() != 0 || !goesOn_()) return STOPPED;
    } while (StopSignals::wait(descriptor_, POLLIN, LOOK_UP_MS) != StopSignals::READY);
    char piece[PIECE];
    const ssize_t n = read(descriptor_, piece, sizeof piece);
    if (n < 0) return errno == EINTR || errno == EAGAIN ? LINE : FAILED;
    ended_ = n == 0;
    rest_.append(piece, static_cast<std::size_t>(n));
    return LINE;
}
