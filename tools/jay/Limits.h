#ifndef JAY_TOOLS_JAY_LIMITS_H
#define JAY_TOOLS_JAY_LIMITS_H

#include <chrono>
#include <string>

#include "tools/jay/CommandLine.h"
#include "tools/jay/Session.h"

/** When a command ends that takes messages as they come: the options --count and --for. */
class Limits {
public:
    void describe(CommandLine& line, const std::string& countMeaning);

    /** From now on --for counts. */
    void start();

    /** Whether so many messages are enough. */
    bool isReached(int count) const { return count_ != 0 && count >= count_; }

    /** How long the next message may keep the command waiting. @param timeout without a message, or FOR_EVER. */
    int wait(int timeout) const;

    /** The status when a wait ended otherwise than with a message, after so many messages. */
    Status ended(Session::Event event, int count) const;

private:
    int count_ = 0;  // 0: no end
    int duration_ = Session::FOR_EVER;
    std::chrono::steady_clock::time_point end_;
};

#endif
