#include "tools/jay/ItemParser.h"

#include <algorithm>
#include <cstdint>
#include <fmt/core.h>
#include <string>

#include "bus/JMessage.h"
#include "tools/jay/Hex.h"
#include "tools/jay/Items.h"
#include "tools/jay/Number.h"
#include "tools/jay/Text.h"

namespace {

constexpr std::size_t LONGEST_QUOTE = 40;  // of what the user wrote, in an error

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

void add(JMessage& message, Item::Kind kind, long long number) {
    const int v = static_cast<int>(static_cast<std::uint32_t>(number));
    if (kind == Item::BYTE) message.addByte(v);
    if (kind == Item::WORD) message.addWord(v);
    if (kind == Item::INT) message.addInt(v);
    if (kind == Item::VAR) message.addVarInt(v);
}

void addText(JMessage& message, const std::string& text) {
    message.addVarInt(static_cast<int>(text.size()));
    message.addBytes(text.data(), 0, static_cast<int>(text.size()));
}

class ItemReader {
public:
    explicit ItemReader(std::string_view text) : rest_(text) {}

    Parsed read() {
        skipBlanks();
        while (!rest_.empty() && error_.empty()) {
            place_++;
            start_ = rest_;
            readItem();
            skipBlanks();
        }
        if (!error_.empty()) return Parsed::failed(error_);
        const JByte bytes = message_.toByteArray();
        return {std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(bytes.size())), ""};
    }

private:
    void skipBlanks() {
        while (!rest_.empty() && isBlank(rest_[0])) rest_.remove_prefix(1);
    }

    /** Takes what stands up to the next blank. */
    std::string_view takeWord() {
        std::size_t n = 0;
        while (n < rest_.size() && !isBlank(rest_[n])) n++;
        const std::string_view word = rest_.substr(0, n);
        rest_.remove_prefix(n);
        return word;
    }

    void readItem() {
        const std::size_t colon = rest_.find(':');
        const std::string_view name = rest_.substr(0, colon);
        if (colon == std::string_view::npos || std::any_of(name.begin(), name.end(), isBlank)) {
            takeWord();
            return fail("the type is missing; expected byte:N, word:N, int:N, var:N, str:TEXT or hex:BYTES" +
                        std::string(place_ > 1 ? " (quote a text with blanks: str:\"two words\")" : ""));
        }
        rest_.remove_prefix(colon + 1);
        if (name == "str") return readText();
        if (name == "hex") return readHex();
        const NumberType* type = findNumberType(name);
        const std::string value(takeWord());
        if (type == nullptr) return fail("no such type; there are byte, word, int, var, str and hex");
        readNumberItem(*type, value);
    }

    void readNumberItem(const NumberType& type, const std::string& value) {
        const std::string range = fmt::format("{} takes {}..{}", type.name, type.least, type.most);
        const auto number = readNumber(value);
        if (!number) return fail(fmt::format("not a number; {}, decimal or hexadecimal after 0x", range));
        if (*number < type.least || *number > type.most) return fail("out of range; " + range);
        add(message_, type.kind, *number);
    }

    void readHex() {
        const Parsed bytes = parseHex(takeWord());
        if (!bytes.ok() || bytes.bytes.empty()) return fail("expected pairs of hex digits, as in hex:0a1b2c");
        message_.addBytes(bytes.bytes.data(), 0, static_cast<int>(bytes.bytes.size()));
    }

    void readText() {
        const bool quoted = !rest_.empty() && rest_[0] == '"';
        if (quoted) rest_.remove_prefix(1);
        std::string text;
        while (!rest_.empty() && (quoted ? rest_[0] != '"' : !isBlank(rest_[0]))) {
            if (!takeCharacter(text)) return;
        }
        if (quoted && !closeQuote()) return;
        addText(message_, text);
    }

    bool closeQuote() {
        if (rest_.empty()) {
            fail("the closing quote is missing");
            return false;
        }
        rest_.remove_prefix(1);
        if (rest_.empty() || isBlank(rest_[0])) return true;
        takeWord();
        fail("unexpected characters after the closing quote; write a quote within the text as \\\"");
        return false;
    }

    /** Takes a character, or an escape. */
    bool takeCharacter(std::string& text) {
        const char c = rest_[0];
        rest_.remove_prefix(1);
        if (c != '\\') {
            text += c;
            return true;
        }
        return takeEscape(text);
    }

    bool takeEscape(std::string& text) {
        static constexpr std::string_view LETTERS = "nrt\\\" ";
        static constexpr std::string_view MEANING = "\n\r\t\\\" ";
        const char letter = rest_.empty() ? '\0' : rest_[0];
        const std::size_t i = LETTERS.find(letter);
        if (letter == 'x' && rest_.size() >= 3) {
            const Parsed byte = parseHex(rest_.substr(1, 2));
            if (byte.ok() && byte.bytes.size() == 1) {
                text += byte.bytes;
                rest_.remove_prefix(3);
                return true;
            }
        } else if (i != std::string_view::npos) {
            text += MEANING[i];
            rest_.remove_prefix(1);
            return true;
        }
        takeWord();
        fail(
            "after a backslash only n, r, t, x and two hex digits, a quote, a blank or another backslash is "
            "expected");
        return false;
    }

    /** Names the item that has been read so far. */
    void fail(const std::string& why) {
        std::string_view item = start_.substr(0, start_.size() - rest_.size());
        const bool cut = item.size() > LONGEST_QUOTE;
        if (cut) item = item.substr(0, LONGEST_QUOTE);
        const std::string shown = isPlainText(item) ? std::string(item) : escaped(item);
        error_ = fmt::format("item {}, '{}{}': {}", place_, shown, cut ? "..." : "", why);
    }

    std::string_view start_;  // of the item
    std::string_view rest_;
    int place_ = 0;
    JMessage message_;
    std::string error_;
};

}  // namespace

Parsed parseItems(std::string_view text) {
    return ItemReader(text).read();
}
