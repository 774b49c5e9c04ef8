#ifndef JAY_TOOLS_JAY_OUTPUT_H
#define JAY_TOOLS_JAY_OUTPUT_H

#include <fmt/core.h>
#include <string>
#include <utility>

#include "tools/jay/Client.h"
#include "tools/jay/CommandLine.h"
#include "tools/jay/Json.h"
#include "tools/jay/MessageView.h"
#include "tools/jay/Status.h"
#include "tools/jay/Text.h"

/**
 * What a command writes, and the options --json, --encoding and --quiet that say how: data to standard output, a line or
 * an object at a time, and notes to standard error. Every command has one:
 *
 *     if (!output_.line("3 records")) return output_.status();
 *
 * Lines are written at once, so that a reader sees them while the command runs on.
 */
class Output {
public:
    void describe(CommandLine& line);

    /** The same, and --full, for a command that shows payloads. */
    void describePayloads(CommandLine& line);

    /** How payloads are to be shown: on a terminal long ones are shortened, unless --full is given. */
    PayloadView view(bool decode) const;

    bool isJson() const { return json_; }
    bool isQuiet() const { return quiet_; }
    Encoding encoding() const;

    /**
     * Writes a line of data, or several with line ends between them. The text must be safe to show; see Text.h.
     * @return false when nothing more can be written. That has been reported: the command ends with status().
     */
    bool line(const std::string& text);

    /** Writes an object as one line of JSON. */
    bool object(const JsonObject& json);

    /** A line for the user on standard error, unless --quiet. Errors are reported with fail() or complain() instead. */
    void note(const std::string& text) const;

    /** The same with values in the places of {}. */
    template <typename First, typename... Rest>
    void note(fmt::format_string<First, Rest...> text, First&& first, Rest&&... rest) const {
        note(fmt::format(text, std::forward<First>(first), std::forward<Rest>(rest)...));
    }

    /** Notes that so many messages for us were taken from the server and not used; nothing if there were none. */
    void noteLost(long count, const Client& client) const;

    /** What became of the lines: DONE as long as all were written, and when the program that reads them has ended, as `head` does; else
     * the status to end with. */
    Status status() const { return status_; }

private:
    bool json_ = false;
    bool quiet_ = false;
    bool full_ = false;
    std::string encoding_ = "utf-8";
    Status status_ = DONE;
};

#endif
