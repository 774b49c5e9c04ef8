#include "tools/jay/PayloadSource.h"

#include "bus/M.h"
#include "tools/jay/Files.h"
#include "tools/jay/Hex.h"
#include "tools/jay/ItemParser.h"

static_assert(PayloadSource::LONGEST == M::MAX_SIZE - M::HEADER_SIZE, "the rest is the header");

namespace {

/** Hex of a longest payload, as a dump shows it, is shorter than this. */
constexpr std::size_t LONGEST_FILE = 1 << 20;

/** A string item that the shell has taken out of its quotes: its blanks are part of it. */
std::string asItem(const std::string& word) {
    if (word.rfind("str:", 0) != 0 || word.rfind("str:\"", 0) == 0) return word;
    std::string item;
    for (const char c : word) item += c == ' ' ? "\\ " : std::string(1, c);
    return item;
}

std::string joined(const std::vector<std::string>& words, bool items) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + (items ? asItem(word) : word);
    return text;
}

}  // namespace

void PayloadSource::describe(CommandLine& line) {
    line.addArguments("TEXT", words_, "The " + name_);
    line.addFlag("--hex", hex_, "The input is hex digits");
    line.addFlag("--items", items_, "The input is typed items such as int:5 str:abc");
    line.addText("--file", file_, "Read the " + name_ + " from a file; - is standard input", "FILE");
    line.addCheck([this] { return check(); });
}

/** What no single option can tell. */
std::string PayloadSource::check() const {
    if (hex_ && items_) return "--hex excludes --items";
    if (!file_.empty() && !words_.empty()) return "--file excludes TEXT";
    if (file_.empty() && words_.empty()) return "TEXT or --file is required";
    if (words_.size() > 1 && !hex_ && !items_)
        return "'" + words_[1] + "' is one argument too many; a text with blanks must be quoted";
    return "";
}

Parsed PayloadSource::payload(Encoding encoding) const {
    if (file_.empty()) return payload(joined(words_, items_), encoding);
    Parsed content = readUpTo(file_, hex_ || items_ ? LONGEST_FILE : LONGEST);
    if (!content.ok()) return content;
    if (hex_ || items_) content = payload(content.bytes, encoding);
    content = checkLength(content);
    return content.ok() ? content : Parsed::failed("{}: {}", shownPath(file_), content.error);
}

Parsed PayloadSource::payload(std::string_view text, Encoding encoding) const {
    if (hex_) return checkLength(parseHex(text));
    const auto bytes = encoded(text, encoding);
    if (!bytes) return Parsed::failed("a character of the text is not in EUC-KR, or the text is no UTF-8");
    return checkLength(items_ ? parseItems(*bytes) : Parsed{*bytes, ""});
}

Parsed PayloadSource::checkLength(Parsed payload) const {
    if (payload.bytes.size() <= LONGEST) return payload;
    return Parsed::failed("the {} is longer than the {} bytes that jay puts into {}", name_, LONGEST,
                          holder_);
}
