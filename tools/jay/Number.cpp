#include "tools/jay/Number.h"

#include <charconv>
#include <limits>

std::optional<long long> readNumber(std::string_view text) {
    const bool negative = text.substr(0, 1) == "-";
    if (negative || text.substr(0, 1) == "+") text.remove_prefix(1);
    const bool isHex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    if (isHex) text.remove_prefix(2);
    if (text.substr(0, 1) == "-") return std::nullopt;  // from_chars() would take a second sign
    long long number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
    if (error == std::errc::invalid_argument || rest != end) return std::nullopt;
    if (error == std::errc::result_out_of_range) number = std::numeric_limits<long long>::max();
    return negative ? -number : number;
}
