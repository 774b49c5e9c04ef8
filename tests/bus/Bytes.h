/** @file What tests of messages need: bytes written as a reader of a dump writes them, "10 00 ff". */
#ifndef JAY_TESTS_BUS_BYTES_H
#define JAY_TESTS_BUS_BYTES_H

#include <cstddef>
#include <string>

#include "bus/JMessage.h"
#include "core/JByte.h"
#include "core/JString.h"

namespace bus {

inline std::string text(const JByte& b) {
    return std::string(static_cast<const char*>(b), static_cast<std::size_t>(b.size()));
}
inline std::string text(const JString& s) {
    return std::string(s.toCharArray(), static_cast<std::size_t>(s.length()));
}

inline JByte block(const std::string& bytes) {
    return JByte(bytes.data(), 0, static_cast<int>(bytes.size()));
}

/** The bytes as pairs of digits with blanks between. */
inline std::string hex(const std::string& bytes) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string result;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!result.empty()) result += ' ';
        result += DIGITS[byte >> 4];
        result += DIGITS[byte & 15];
    }
    return result;
}
inline std::string hex(const JByte& b) {
    return hex(text(b));
}
/** Of a message: its own bytes, as JMessage gives them, with nothing set in the header. */
inline std::string hex(const JMessage& m) {
    return hex(m.JMessage::toByteArray());
}

/** The bytes that pairs of digits stand for; what is between them does not count. */
inline std::string unhex(const std::string& digits) {
    std::string result;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 3)
        result += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return result;
}

/** A message of exactly these bytes: nothing lies behind them in its buffer. */
inline JMessage messageOf(const std::string& digits) {
    return JMessage(block(unhex(digits)));
}

}  // namespace bus

#endif
