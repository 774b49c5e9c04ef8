#include "tools/jay/Limits.h"

#include <algorithm>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {
constexpr Range AT_LEAST_ONE{1};
}

void Limits::describe(CommandLine& line, const std::string& countMeaning) {
    line.addNumber("--count", count_, AT_LEAST_ONE, countMeaning, "NUMBER");
    line.addNumber("--for", duration_, {}, "End after this time", "MS");
}

void Limits::start() {
    end_ = steady_clock::now() + milliseconds(duration_);
}

int Limits::wait(int timeout) const {
    if (duration_ == Session::FOR_EVER) return timeout;
    const auto left = std::chrono::ceil<milliseconds>(end_ - steady_clock::now());
    const int rest = static_cast<int>(std::max(left, milliseconds(0)).count());
    return timeout == Session::FOR_EVER ? rest : std::min(rest, timeout);
}

Status Limits::ended(Session::Event event, int count) const {
    const bool enough = count_ == 0 && count > 0;
    return event == Session::TIME_UP && enough ? DONE : Session::statusOf(event);
}
