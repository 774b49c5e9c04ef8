#include "tools/jay/MessageView.h"

#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include "tools/jay/Hex.h"
#include "tools/jay/ItemGuess.h"

namespace {

struct FlagName {
    int bit;
    const char* text;
};

constexpr FlagName FLAG_NAMES[] = {
    {M::M_FLAG_SYNC, "sync"}, {M::M_FLAG_BROADCAST, "broadcast"}, {M::M_FLAG_TIMED, "timed"}};

/** A string item's text in UTF-8, if it is text. */
std::string textOfItem(const Item& item, Encoding encoding) {
    return textOf(item.text, encoding, Allow::LINES).value_or(std::string(item.text));
}

std::string shownItems(const std::vector<Item>& items, Encoding encoding) {
    std::string shown = "items";
    for (Item item : items) {
        const std::string text = textOfItem(item, encoding);
        item.text = text;
        shown += ' ' + itemText(item);
    }
    return shown;
}

std::string shown(const std::string& payload, const PayloadView& view) {
    const std::vector<Item> items = view.decode ? guessItems(payload) : std::vector<Item>();
    if (!items.empty()) return shownItems(items, view.encoding);
    return shownPayload(payload, view.encoding);
}

std::vector<JsonObject> itemsJson(const std::vector<Item>& items, Encoding encoding) {
    std::vector<JsonObject> objects;
    for (const Item& item : items) {
        objects.emplace_back();
        objects.back().add("type", item.name());
        if (item.kind == Item::STRING) {
            objects.back().add("value", textOfItem(item, encoding));
        } else {
            objects.back().add("value", item.number);
        }
    }
    return objects;
}

/** A dump of as many bytes as the view shows. */
std::string shortenedDump(const std::string& payload, const PayloadView& view) {
    constexpr std::size_t LINE = 16;
    const std::size_t most = view.most / LINE * LINE;
    if (view.most == 0 || payload.size() <= most) return hexDump(payload, "    ");
    return fmt::format("{}    ... (--full shows all {} bytes)\n",
                       hexDump(std::string_view(payload).substr(0, most), "    "), payload.size());
}

template <typename Value>
std::string row(const char* name, const Value& value) {
    return fmt::format("    {:<13}{}\n", name, value);
}

}  // namespace

std::string payloadOf(M& message) {
    const int before = message.setPos(M::HEADER_SIZE);
    const JByte bytes = message.getBytes(message.size() - M::HEADER_SIZE);
    message.setPos(before);
    return std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(bytes.size()));
}

std::string flagNames(int flag) {
    std::vector<std::string> names;
    for (const FlagName& name : FLAG_NAMES) {
        if ((flag & name.bit) != 0) names.emplace_back(name.text);
        flag &= ~name.bit;
    }
    if (flag != 0) names.push_back(fmt::to_string(flag));
    return names.empty() ? "none" : fmt::to_string(fmt::join(names, "+"));
}

std::string clockTime(long long ms) {
    const auto seconds = static_cast<std::time_t>(ms / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    return fmt::format("{:%H:%M:%S}.{:03}", local, ms % 1000);
}

std::string messageLine(M& m, const PayloadView& view) {
    const std::string payload = payloadOf(m);
    std::string line = fmt::format("{} -> {}  ", m.getSrcId(), m.getDestId());
    if (m.getFlag() != 0) line += fmt::format("flag {}  ", flagNames(m.getFlag()));
    if (m.getPriority() != 0) line += fmt::format("priority {}  ", m.getPriority());
    if (m.getSection() != 0) line += fmt::format("section {}  ", m.getSection());
    return line +
           fmt::format("length {}  {}", m.size(), shortened(shown(payload, view), view.most, payload.size()));
}

std::string messageBlock(M& m, const PayloadView& view) {
    const std::string payload = payloadOf(m);
    std::string block =
        row("length", fmt::format("{} (header {}, payload {})", m.size(), M::HEADER_SIZE, payload.size())) +
        row("destination", m.getDestId()) + row("source", m.getSrcId()) +
        row("flag", fmt::format("{} ({})", m.getFlag(), flagNames(m.getFlag()))) +
        row("priority", m.getPriority()) + row("time stamp", m.getTimestamp()) +
        row("section", m.getSection());
    const std::string text = shown(payload, view);
    if (text.rfind("hex ", 0) != 0) block += row("payload", shortened(text, view.most, payload.size()));
    block += shortenedDump(payload, view);
    block.pop_back();  // the last line end
    return block;
}

JsonObject messageJson(M& m, const PayloadView& view) {
    std::vector<std::string> flags;
    for (const FlagName& name : FLAG_NAMES) {
        if ((m.getFlag() & name.bit) != 0) flags.emplace_back(name.text);
    }
    JsonObject object;
    object.add("source", m.getSrcId()).add("destination", m.getDestId());
    object.add("flag", m.getFlag()).add("flags", flags).add("priority", m.getPriority());
    object.add("timestamp", m.getTimestamp()).add("section", m.getSection()).add("length", m.size());
    const std::string payload = payloadOf(m);
    object.addBytes(payload, view.encoding);
    const std::vector<Item> items = view.decode ? guessItems(payload) : std::vector<Item>();
    if (!items.empty()) object.add("items", itemsJson(items, view.encoding));
    return object;
}
