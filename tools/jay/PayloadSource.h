#ifndef JAY_TOOLS_JAY_PAYLOADSOURCE_H
#define JAY_TOOLS_JAY_PAYLOADSOURCE_H

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/jay/Parsed.h"
#include "tools/jay/Text.h"

/** Where the payload of a message comes from, and how it is written there: what `jay send` and `jay request` are told. */
class PayloadSource {
public:
    static constexpr std::size_t LONGEST = 65535 - 16;  ///< bytes that fit into a message

    /** TEXT..., --hex, --items and --file. */
    void describe(CLI::App& app);

    /** Whether TEXT is "-": each line of standard input is a payload. Only if the command says so. */
    bool isInput() const { return words_.size() == 1 && words_[0] == "-" && file_.empty(); }

    /** What no single option can tell. Throws what CLI11 shows to the user. */
    void check() const;

    /** The payload that the command line tells; reads the file. */
    Parsed payload(Encoding encoding) const;

    /** The payload that a line tells. */
    Parsed payload(std::string_view text, Encoding encoding) const;

private:
    std::vector<std::string> words_;
    std::string file_;
    bool hex_ = false;
    bool items_ = false;
};

#endif
