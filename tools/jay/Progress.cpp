#include "tools/jay/Progress.h"

#include <algorithm>
#include <cstdio>
#include <fmt/core.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int USUAL_WIDTH = 80;  // of a terminal that does not tell
constexpr std::size_t LEAST_BAR = 6;
constexpr std::size_t LONGEST_BAR = 50;
constexpr std::chrono::milliseconds PAUSE(100);

std::string bar(std::size_t length, long done, long total) {
    const auto filled = static_cast<std::size_t>(static_cast<double>(length) * static_cast<double>(done) /
                                                 static_cast<double>(total));
    return "[" + std::string(filled, '#') + std::string(length - filled, '-') + "]";
}

}  // namespace

int terminalWidth(int descriptor) {
    if (isatty(descriptor) == 0) return 0;
    winsize size{};
    const bool told = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return told ? size.ws_col : USUAL_WIDTH;
}

Progress::Progress(bool wanted, long total) : wanted_(wanted && isatty(STDERR_FILENO) != 0), total_(total) {
}

Progress::~Progress() {
    clear();
}

std::string Progress::drawn(const std::string& label, long done, long total, int width) {
    const std::size_t room = static_cast<std::size_t>(std::max(width - 1, 0));
    const std::string end = fmt::format("{:>3}%", std::min(done * 100 / total, 100L));
    if (room < end.size()) return "";
    const std::size_t around = end.size() + 3;  // brackets and a blank
    if (room < around + LEAST_BAR) return end;
    const std::size_t labelled = around + LEAST_BAR + label.size() + 1;
    const std::string begin = room < labelled ? "" : label + " ";
    const std::size_t length = std::min(room - around - begin.size(), LONGEST_BAR);
    return begin + bar(length, std::min(done, total), total) + " " + end;
}

void Progress::step(const std::string& label) {
    done_++;
    if (!wanted_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + PAUSE;
    // Anew each time: the window may have got another size.
    const std::string line = drawn(label, done_, total_, terminalWidth(STDERR_FILENO));
    clear();
    drawn_ = line.size();
    std::fprintf(stderr, "%s", line.c_str());
}

void Progress::clear() {
    if (drawn_ > 0) std::fprintf(stderr, "\r\033[K");
    drawn_ = 0;
}
