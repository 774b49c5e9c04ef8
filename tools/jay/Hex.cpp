#include "tools/jay/Hex.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <fmt/core.h>

#include "tools/jay/Text.h"

namespace {

constexpr std::size_t PER_LINE = 16;
constexpr std::size_t LEAST_OFFSET_DIGITS = 4;
constexpr std::size_t MOST_OFFSET_DIGITS = 16;
constexpr char DIGITS[] = "0123456789abcdef";

bool isDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

unsigned valueOf(char c) {
    if (c <= '9') return static_cast<unsigned>(c - '0');
    return static_cast<unsigned>((c | 0x20) - 'a') + 10;
}

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == ',' || c == ':';
}

std::size_t countDigits(std::string_view text) {
    std::size_t n = 0;
    while (n < text.size() && isDigit(text[n])) n++;
    return n;
}

std::uint64_t numberFrom(std::string_view digits) {
    std::uint64_t value = 0;
    for (const char c : digits) value = value << 4 | valueOf(c);
    return value;
}

/** A character for a message: as it is if that does no harm, else as a byte. */
std::string shownCharacter(char c) {
    if (isPlainText({&c, 1})) return std::string("'") + c + "'";
    return "the byte " + hexBytes({&c, 1});
}

/** Reads a text line by line. */
class HexReader {
public:
    Parsed read(std::string_view text) {
        while (!text.empty() && result_.ok()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            std::string_view line = text.substr(0, end);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            line_++;
            readLine(line);
            text.remove_prefix(std::min(end + 1, text.size()));
        }
        if (!result_.ok()) result_.bytes.clear();
        return std::move(result_);
    }

private:
    void readLine(std::string_view line) {
        const std::size_t start = skipOffset(line);
        const std::size_t end = start > 0 ? endOfBytes(line, start) : std::min(line.find('#'), line.size());
        dumped_ = start > 0;
        std::size_t at = start;
        while (at < end && result_.ok()) {
            if (isSeparator(line[at])) {
                at++;
            } else {
                at = readGroup(line.substr(0, end), at);
            }
        }
    }

    /** Where the bytes begin: behind the offset, if the line is one of a dump. */
    std::size_t skipOffset(std::string_view line) const {
        const std::size_t blanks = std::min(line.find_first_not_of(" \t"), line.size());
        const std::string_view rest = line.substr(blanks);
        const std::size_t n = countDigits(rest);
        if (n < LEAST_OFFSET_DIGITS || n > MOST_OFFSET_DIGITS) return 0;
        const std::string_view behind = rest.substr(n);
        const bool colon = behind.substr(0, 2) == ": " || behind == ":";
        if (colon) return blanks + n + 1;
        // Without a colon it may be bytes as well: those that tell how many came before it are none.
        const bool fits = numberFrom(rest.substr(0, n)) == result_.bytes.size();
        const bool last = behind.find_first_not_of(" \t\r") == std::string_view::npos;
        if (fits && behind.substr(0, 2) == "  " && !last) return blanks + n;
        if (fits && last && dumped_) return line.size();  // the one that closes `hexdump -C`
        return 0;
    }

    /** Where the bytes of a dump's line end: what follows is the same as text. */
    static std::size_t endOfBytes(std::string_view line, std::size_t start) {
        const bool colon = line[start - 1] == ':';
        const std::size_t bar = line.find("  |", start);
        if (!colon && bar != std::string_view::npos && line.back() == '|') return bar;
        const std::size_t first = std::min(line.find_first_not_of(' ', start), line.size());
        return std::min(line.find(colon ? "  " : "   ", first), line.size());
    }

    /** Reads the digits from `at` on. @return where they end. */
    std::size_t readGroup(std::string_view line, std::size_t at) {
        if (line.substr(at, 2) == "0x" || line.substr(at, 2) == "0X") at += 2;
        const std::size_t n = countDigits(line.substr(at));
        const std::size_t end = at + n;
        const bool goesOn = end < line.size() && !isSeparator(line[end]);
        if (goesOn || n == 0) {
            fail(end, goesOn ? shownCharacter(line[end]) : "nothing after 0x");
        } else if (n % 2 != 0) {
            fail(at, fmt::format("half a byte in '{}': each byte has two digits",
                                 line.substr(at, std::min<std::size_t>(n, 32))));
        }
        for (std::size_t i = 0; i + 1 < n; i += 2)
            result_.bytes += static_cast<char>(valueOf(line[at + i]) << 4 | valueOf(line[at + i + 1]));
        return end;
    }

    void fail(std::size_t at, const std::string& found) {
        result_.error = fmt::format("hex, line {}, column {}: expected pairs of hex digits, found {}", line_,
                                    at + 1, found);
    }

    Parsed result_;
    int line_ = 0;
    bool dumped_ = false;  // the line before was one of a dump
};

}  // namespace

Parsed parseHex(std::string_view text) {
    return HexReader().read(text);
}

std::string hexBytes(std::string_view bytes) {
    std::string shown;
    shown.reserve(3 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!shown.empty()) shown += ' ';
        shown += {DIGITS[byte >> 4], DIGITS[byte & 15]};
    }
    return shown;
}

std::string hexDump(std::string_view bytes, const std::string& indent, std::size_t offset) {
    std::string dump;
    for (; !bytes.empty(); offset += PER_LINE) {
        const std::string_view line = bytes.substr(0, PER_LINE);
        std::string hex = hexBytes(line.substr(0, PER_LINE / 2));
        hex.resize(3 * PER_LINE / 2, ' ');
        hex += ' ' + hexBytes(line.substr(std::min(line.size(), PER_LINE / 2)));
        hex.resize(3 * PER_LINE + 2, ' ');
        dump += fmt::format("{}{:08x}  {}|", indent, offset, hex);
        for (const char c : line) dump += c >= 0x20 && c < 0x7F ? c : '.';
        dump += "|\n";
        bytes.remove_prefix(line.size());
    }
    return dump;
}
