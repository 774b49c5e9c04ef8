#ifndef JAY_TOOLS_JAY_PARSED_H
#define JAY_TOOLS_JAY_PARSED_H

#include <string>

/** The bytes that a text of the user's stands for, or why it stands for none. */
struct Parsed {
    std::string bytes;
    std::string error;  ///< for the user; empty when all went well

    bool ok() const { return error.empty(); }

    static Parsed failed(const std::string& why) { return {"", why}; }
};

#endif
