#ifndef JAY_TOOLS_JAY_PAYLOADSOURCE_H
#define JAY_TOOLS_JAY_PAYLOADSOURCE_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/jay/CommandLine.h"
#include "tools/jay/Parsed.h"
#include "tools/jay/Text.h"

/** Where the payload of a message, or the text of a record, comes from, and in which form: options of `jay send`,
 * `jay request` and `jay db`. */
class PayloadSource {
public:
    static constexpr std::size_t LONGEST = 65535 - 16;  ///< bytes that fit into a message

    /** @param name what it is to the user. @param holder what holds it. */
    explicit PayloadSource(const char* name = "payload", const char* holder = "a message")
        : name_(name), holder_(holder) {}

    /** TEXT..., --hex, --items and --file. */
    void describe(CommandLine& line);

    /** Whether TEXT is "-": each line of standard input is a payload. Only if the command says so. */
    bool isInput() const { return words_.size() == 1 && words_[0] == "-" && file_.empty(); }

    /** The payload that the command line tells; reads the file. */
    Parsed payload(Encoding encoding) const;

    /** The payload that a line tells. */
    Parsed payload(std::string_view text, Encoding encoding) const;

private:
    std::string check() const;
    Parsed checkLength(Parsed payload) const;

    std::string name_;
    std::string holder_;
    std::vector<std::string> words_;
    std::string file_;
    bool hex_ = false;
    bool items_ = false;
};

#endif
