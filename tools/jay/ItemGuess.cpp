#include "tools/jay/ItemGuess.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "tools/jay/Text.h"

namespace {

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

/** How many bytes the first character takes; 0 when it is none that a text holds. */
std::size_t letterLength(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    const bool blank = first == '\n' || first == '\r' || first == '\t';
    if (first < 0x80) return blank || (first >= 0x20 && first != 0x7F) ? 1 : 0;
    for (std::size_t n = 2; n <= 4 && n <= bytes.size(); n++) {
        if (textOf(bytes.substr(0, n), Encoding::UTF_8, Allow::ANY)) return n;
    }
    const auto second = static_cast<unsigned char>(bytes.size() > 1 ? bytes[1] : 0);
    const bool korean = first >= 0xA1 && first <= 0xFE && second >= 0x81 && second <= 0xFE;
    return korean ? 2 : 0;
}

/** Finds the fewest items from each place of the payload to its end, beginning with the last place. */
class Guesser {
public:
    explicit Guesser(std::string_view payload)
        : payload_(payload), textEnd_(payload.size() + 1, payload.size()), best_(payload.size() + 1) {}

    std::vector<Item> guess() {
        for (std::size_t at = payload_.size(); at-- > 0;) {
            const std::size_t n = letterLength(payload_.substr(at));
            textEnd_[at] = n == 0 ? at : textEnd_[at + n];
            chooseAt(at);
        }
        std::vector<Item> items;
        if (3 * best_[0].count > 2 * payload_.size()) return items;
        for (std::size_t at = 0; at < payload_.size(); at += best_[at].length)
            items.push_back(best_[at].item);
        const bool allStrings = std::all_of(items.begin(), items.end(),
                                            [](const Item& item) { return item.kind == Item::STRING; });
        if (textEnd_[0] == payload_.size() && !allStrings) items.clear();
        return items;
    }

private:
    /** The fewest items from a place on: the first of them, and their number. */
    struct Choice {
        std::size_t count = 0;
        std::size_t length = 0;
        Item item;
    };

    void chooseAt(std::size_t at) {
        best_[at].count = payload_.size() + 1;  // more than there can be
        tryNumber(at, Item::BYTE, 1);
        tryNumber(at, Item::WORD, 2);
        tryNumber(at, Item::INT, 4);
        std::size_t length = 0;
        std::uint32_t value = 0;
        if (!readVar(payload_.substr(at), length, value)) return;
        if (length > 1) offer(at, length, {Item::VAR, value, {}});
        const std::size_t start = at + length;
        if (value > 0 && value <= payload_.size() - start && textEnd_[start] >= start + value)
            offer(at, length + value, {Item::STRING, 0, payload_.substr(start, value)});
    }

    void tryNumber(std::size_t at, Item::Kind kind, std::size_t length) {
        if (payload_.size() - at < length) return;
        const std::uint32_t value = littleEndian(payload_.substr(at), length);
        const std::uint32_t upperHalf = value >> (4 * length);
        const std::uint32_t ones = (1U << (4 * length)) - 1;
        if (length > 1 && upperHalf != 0 && upperHalf != ones) return;
        const auto asInt = static_cast<std::int32_t>(value);
        offer(at, length, {kind, kind == Item::INT ? asInt : static_cast<long long>(value), {}});
    }

    void offer(std::size_t at, std::size_t length, const Item& item) {
        Choice& choice = best_[at];
        const std::size_t count = 1 + best_[at + length].count;
        if (choice.count < count || (choice.count == count && choice.length <= length)) return;
        choice = {count, length, item};
    }

    std::string_view payload_;
    std::vector<std::size_t> textEnd_;  // where the text that begins at a place ends
    std::vector<Choice> best_;
};

}  // namespace

std::vector<Item> guessItems(std::string_view payload) {
    return Guesser(payload).guess();
}
