#ifndef JAY_TOOLS_JAY_PARSED_H
#define JAY_TOOLS_JAY_PARSED_H

#include <fmt/core.h>
#include <string>
#include <utility>

/** The bytes that the user's text describes, or the error in it. */
struct Parsed {
    std::string bytes;
    std::string error;  ///< for the user; empty when all went well

    bool ok() const { return error.empty(); }

    static Parsed failed(const std::string& why) { return {"", why}; }

    /** The same with values in the places of {}. */
    template <typename First, typename... Rest>
    static Parsed failed(fmt::format_string<First, Rest...> why, First&& first, Rest&&... rest) {
        return failed(fmt::format(why, std::forward<First>(first), std::forward<Rest>(rest)...));
    }
};

#endif
