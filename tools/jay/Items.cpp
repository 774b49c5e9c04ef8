#include "tools/jay/Items.h"

#include <algorithm>
#include <fmt/core.h>

#include "tools/jay/Hex.h"
#include "tools/jay/Text.h"

namespace {

/** How many bytes from the head on can be shown as they are. */
std::size_t showable(std::string_view bytes) {
    for (std::size_t n = 1; n <= 4 && n <= bytes.size(); n++) {
        if (isPlainText(bytes.substr(0, n))) return n;
    }
    return 0;
}

}  // namespace

const NumberType* findNumberType(std::string_view name) {
    for (const NumberType& type : NUMBER_TYPES) {
        if (name == type.name) return &type;
    }
    return nullptr;
}

const char* Item::name() const {
    for (const NumberType& type : NUMBER_TYPES) {
        if (kind == type.kind) return type.name;
    }
    return "str";
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
    if (item.kind != Item::STRING) return fmt::format("{}:{}", item.name(), item.number);
    const std::string text = escaped(item.text);
    const bool bare = !text.empty() && text.find_first_of(" \"") == std::string::npos;
    return bare ? "str:" + text : "str:\"" + text + "\"";
}

std::string itemsText(const std::vector<Item>& items) {
    std::string text;
    for (const Item& item : items) text += (text.empty() ? "" : " ") + itemText(item);
    return text;
}
