#include "tools/jay/Items.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "bus/JMessage.h"
#include "tools/jay/Hex.h"
#include "tools/jay/Number.h"
#include "tools/jay/Text.h"

namespace {

constexpr long long UNSIGNED_INT_MAX = 0xFFFFFFFF;
constexpr std::size_t LONGEST_QUOTE = 40;  // of what the user wrote, in an error

struct NumberType {
    const char* name;
    Item::Kind kind;
    long long least, most;
};

constexpr NumberType NUMBER_TYPES[] = {{"byte", Item::BYTE, -128, 255},
                                       {"word", Item::WORD, -32768, 65535},
                                       {"int", Item::INT, INT_MIN, UNSIGNED_INT_MAX},
                                       {"var", Item::VAR, 0, INT_MAX}};

const NumberType* findNumberType(std::string_view name) {
    for (const NumberType& type : NUMBER_TYPES) {
        if (name == type.name) return &type;
    }
    return nullptr;
}

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

// ---- reading the text form ----

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
            return fail(
                "no type before it; wanted byte:N, word:N, int:N, var:N, str:TEXT or hex:BYTES" +
                std::string(place_ > 1 ? " (a text with blanks stands in quotes: str:\"two words\")" : ""));
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
        const std::string range = std::to_string(type.least) + ".." + std::to_string(type.most);
        const auto number = readNumber(value);
        if (!number)
            return fail("not a number; " + std::string(type.name) + " takes " + range +
                        ", decimal or behind 0x");
        if (*number < type.least || *number > type.most)
            return fail("out of range; " + std::string(type.name) + " takes " + range);
        add(message_, type.kind, *number);
    }

    void readHex() {
        const Parsed bytes = parseHex(takeWord());
        if (!bytes.ok() || bytes.bytes.empty()) return fail("wanted pairs of hex digits, as in hex:0a1b2c");
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
        fail("there is something behind the closing quote; a quote within the text is written \\\"");
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
            "a backslash stands before n, r, t, x and two hex digits, a quote, a blank or another backslash "
            "only");
        return false;
    }

    /** Names the item that has been read so far. */
    void fail(const std::string& why) {
        std::string_view item = start_.substr(0, start_.size() - rest_.size());
        const bool cut = item.size() > LONGEST_QUOTE;
        if (cut) item = item.substr(0, LONGEST_QUOTE);
        const std::string shown = isPlainText(item) ? std::string(item) : escaped(item);
        error_ = "item " + std::to_string(place_) + ", '" + shown + (cut ? "...': " : "': ") + why;
    }

    std::string_view start_;  // of the item
    std::string_view rest_;
    int place_ = 0;
    JMessage message_;
    std::string error_;
};

// ---- guessing ----

// Costs are in tenths of a bit: what it would take to write the item down if small numbers and texts were common.
constexpr long long TYPE_COST = 30;
constexpr long long BYTE_COST = 80;  // of a byte about which nothing is known
constexpr long long LETTER_COST = 55;
constexpr long long HIGH_LETTER_COST = 65;  // of a byte in a character that is not ASCII

std::uint32_t littleEndian(std::string_view bytes, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = count; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i]);
    return value;
}

/** How long a variable integer is, given its first byte. */
std::size_t varLength(unsigned char first) {
    return first < 254 ? 1 : first == 254 ? 3 : 5;
}

/** A variable integer as addVarInt() writes it; false when the bytes are none. */
bool readVar(std::string_view bytes, std::size_t& length, std::uint32_t& value) {
    length = varLength(static_cast<unsigned char>(bytes[0]));
    if (bytes.size() < length) return false;
    value = length == 1 ? static_cast<unsigned char>(bytes[0]) : littleEndian(bytes.substr(1), length - 1);
    if (length == 3) return value >= 254;
    return length == 1 || (value > 65535 && value <= INT_MAX);
}

long long costOf(long long number, int bytes) {
    long long bits = 1;
    for (long long rest = number < 0 ? -number : number; rest > 0; rest >>= 1) bits += 2;
    return TYPE_COST + std::min(10 * bits, BYTE_COST * bytes);
}

/** Finds the cheapest row of items from each place of the payload to its end, beginning with the last place. */
class Guesser {
public:
    explicit Guesser(std::string_view payload)
        : payload_(payload),
          textEnd_(payload.size() + 1),
          letters_(payload.size() + 1),
          best_(payload.size() + 1) {}

    Guess guess() {
        measureTexts();
        best_[payload_.size()].cost = 0;
        for (std::size_t at = payload_.size(); at-- > 0;) chooseAt(at);
        Guess guess;
        const long long unexplained = BYTE_COST * static_cast<long long>(payload_.size()) + TYPE_COST;
        const bool allText = textEnd_[0] == payload_.size();
        const long long asText = letters_[payload_.size()] + TYPE_COST;
        guess.fits =
            !payload_.empty() && best_[0].cost <= unexplained && !(allText && asText < best_[0].cost);
        for (std::size_t at = 0; guess.fits && at < payload_.size(); at += best_[at].length)
            guess.items.push_back(best_[at].item);
        return guess;
    }

private:
    struct Choice {
        long long cost = -1;
        std::size_t length = 0;
        Item item;
    };

    /** How many bytes the character at a place takes; 0 when none is there that a text would hold. */
    std::size_t letterAt(std::size_t at) const {
        const std::string_view rest = payload_.substr(at);
        const auto first = static_cast<unsigned char>(rest[0]);
        if (first < 0x80) return (first >= 0x20 && first != 0x7F) || isBlank(rest[0]) ? 1 : 0;
        for (std::size_t n = 2; n <= 4 && n <= rest.size(); n++) {
            if (isPlainText(rest.substr(0, n))) return n;
        }
        const auto second = static_cast<unsigned char>(rest.size() > 1 ? rest[1] : 0);
        const bool korean = first >= 0xA1 && first <= 0xFE && second >= 0x81 && second <= 0xFE;
        return korean ? 2 : 0;
    }

    /** Where the text that begins at each place ends, and what all bytes before a place cost as letters. */
    void measureTexts() {
        textEnd_[payload_.size()] = payload_.size();
        for (std::size_t at = payload_.size(); at-- > 0;) {
            const std::size_t n = letterAt(at);
            textEnd_[at] = n == 0 ? at : textEnd_[at + n];
        }
        for (std::size_t at = 0; at < payload_.size(); at++)
            letters_[at + 1] = letters_[at] + (payload_[at] & 0x80 ? HIGH_LETTER_COST : LETTER_COST);
    }

    void chooseAt(std::size_t at) {
        tryNumber(at, Item::INT, 4);
        tryNumber(at, Item::WORD, 2);
        tryNumber(at, Item::BYTE, 1);
        std::size_t length = 0;
        std::uint32_t value = 0;
        if (!readVar(payload_.substr(at), length, value)) return;
        Item item;
        item.kind = Item::VAR;
        item.number = value;
        if (length > 1) offer(at, length, costOf(value, static_cast<int>(length) - 1), item);
        tryText(at, at + length, value);
    }

    void tryNumber(std::size_t at, Item::Kind kind, std::size_t length) {
        if (payload_.size() - at < length) return;
        Item item;
        item.kind = kind;
        const std::uint32_t value = littleEndian(payload_.substr(at), length);
        item.number = kind == Item::INT ? static_cast<std::int32_t>(value) : static_cast<long long>(value);
        offer(at, length, costOf(item.number, static_cast<int>(length)), item);
    }

    void tryText(std::size_t at, std::size_t start, std::size_t n) {
        if (n == 0 || n > payload_.size() - start || textEnd_[start] < start + n) return;
        Item item;
        item.kind = Item::STRING;
        item.text = payload_.substr(start, n);
        offer(at, start - at + n, TYPE_COST + letters_[start + n] - letters_[start], item);
    }

    void offer(std::size_t at, std::size_t length, long long cost, const Item& item) {
        const long long all = cost + best_[at + length].cost;
        Choice& choice = best_[at];
        if (choice.cost >= 0 && choice.cost <= all) return;
        choice.cost = all;
        choice.length = length;
        choice.item = item;
    }

    std::string_view payload_;
    std::vector<std::size_t> textEnd_;
    std::vector<long long> letters_;
    std::vector<Choice> best_;
};

/** How many bytes from the head on can be shown as they are. */
std::size_t showable(std::string_view bytes) {
    for (std::size_t n = 1; n <= 4 && n <= bytes.size(); n++) {
        if (isPlainText(bytes.substr(0, n))) return n;
    }
    return 0;
}

}  // namespace

const char* Item::name() const {
    for (const NumberType& type : NUMBER_TYPES) {
        if (kind == type.kind) return type.name;
    }
    return "str";
}

Parsed parseItems(std::string_view text) {
    return ItemReader(text).read();
}

Guess guessItems(std::string_view payload) {
    return Guesser(payload).guess();
}

std::string escaped(std::string_view bytes) {
    static constexpr std::string_view NAMED = "\n\r\t\\\"";
    static constexpr std::string_view LETTERS = "nrt\\\"";
    std::string shown;
    while (!bytes.empty()) {
        const std::size_t i = NAMED.find(bytes[0]);
        const std::size_t n = i == std::string_view::npos ? showable(bytes) : 0;
        if (i != std::string_view::npos) {
            shown += {'\\', LETTERS[i]};
        } else if (n == 0) {
            shown += "\\x" + hexBytes(bytes.substr(0, 1));
        } else {
            shown += bytes.substr(0, n);
        }
        bytes.remove_prefix(std::max<std::size_t>(n, 1));
    }
    return shown;
}

std::string itemText(const Item& item) {
    if (item.kind != Item::STRING) return std::string(item.name()) + ":" + std::to_string(item.number);
    const std::string text = escaped(item.text);
    const bool bare = !text.empty() && text.find_first_of(" \"") == std::string::npos;
    return bare ? "str:" + text : "str:\"" + text + "\"";
}

std::string itemsText(const std::vector<Item>& items) {
    std::string text;
    for (const Item& item : items) text += (text.empty() ? "" : " ") + itemText(item);
    return text;
}
