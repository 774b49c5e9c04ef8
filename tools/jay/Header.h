#ifndef JAY_TOOLS_JAY_HEADER_H
#define JAY_TOOLS_JAY_HEADER_H

#include <CLI/CLI.hpp>

#include "bus/M.h"

/** The header fields of the messages that a command sends, as options. */
class Header {
public:
    /** All of them. */
    void describe(CLI::App& app);

    /** Those of a message to one client whose answer is waited for: --to, --priority, --section. */
    void describeRequest(CLI::App& app);

    /** What no single option can tell. Throws what CLI11 shows to the user. */
    void check() const;

    bool hasSection() const { return sectionGiven_; }

    int to() const { return to_; }

    /** A message with these fields and some payload. @param source unless one was given. */
    M message(const std::string& payload, int source) const;

private:
    void describeAddress(CLI::App& app, const std::string& meaning);
    int flags() const;

    int to_ = -1;
    int source_ = -1;
    int priority_ = 0;
    int section_ = 0;
    bool sectionGiven_ = false;
    bool sync_ = false;
    bool broadcast_ = false;
    int patience_ = 0;  // milliseconds; 0: none
    int rawFlags_ = 0;
    int timestamp_ = -1;
};

#endif
