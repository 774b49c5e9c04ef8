#ifndef JAY_TOOLS_JAY_HEADER_H
#define JAY_TOOLS_JAY_HEADER_H

#include <limits>
#include <string>

#include "bus/M.h"
#include "tools/jay/CommandLine.h"

/** The header fields of the messages that a command sends, as options. */
class Header {
public:
    /** All of them. */
    void describe(CommandLine& line);

    /** Those of a message to one client whose answer is waited for: --to, --priority, --section. */
    void describeRequest(CommandLine& line);

    bool hasSection() const { return section_ != NO_SECTION; }

    int to() const { return to_; }

    /** A message with these fields and some payload. @param source unless one was given. */
    M message(const std::string& payload, int source) const;

private:
    static constexpr long long NO_SECTION = std::numeric_limits<long long>::min();

    void describeAddress(CommandLine& line, const std::string& meaning);
    std::string check() const;
    int flags() const;

    int to_ = -1;
    int source_ = -1;
    int priority_ = 0;
    long long section_ = NO_SECTION;
    bool sync_ = false;
    bool broadcast_ = false;
    int patience_ = 0;  // milliseconds; 0: none
    int rawFlags_ = 0;
    int timestamp_ = -1;
};

#endif
