#include "tools/jay/Limits.h"

#include <algorithm>
#include <limits>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

void Limits::describe(CLI::App& app, const std::string& countMeaning) {
    app.add_option("--count", count_, countMeaning)
        ->option_text("NUMBER")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()));
    app.add_option("--for", duration_, "End after so long, whatever comes")
        ->option_text("MS")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
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
    if (event == Session::LOST) return NO_SERVER;
    if (event == Session::OUTPUT_GONE) return DONE;
    if (event == Session::STOPPED && count_ == 0) return DONE;
    return count_ == 0 && count > 0 ? DONE : UNFINISHED;
}
