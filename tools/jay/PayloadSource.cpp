#include "tools/jay/PayloadSource.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "bus/M.h"
#include "tools/jay/Hex.h"
#include "tools/jay/Items.h"

static_assert(PayloadSource::LONGEST == M::MAX_SIZE - M::HEADER_SIZE, "the rest is the header");

namespace {

/** Hex of a longest payload, as a dump shows it, is shorter than this. */
constexpr std::size_t LONGEST_FILE = 1 << 20;

Parsed tooLong() {
    return Parsed::failed("the payload is longer than the " + std::to_string(PayloadSource::LONGEST) +
                          " bytes that fit into a message");
}

class Descriptor {
public:
    explicit Descriptor(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd_; }

private:
    int fd_;
};

Parsed cannotRead(const std::string& path) {
    return Parsed::failed("cannot read '" + path + "': " + std::strerror(errno));
}

/** No more than one byte over the limit: nothing longer is of use. */
Parsed readFile(const std::string& path, std::size_t limit) {
    const Descriptor file(path);
    if (file.get() < 0) return cannotRead(path);
    Parsed content;
    char piece[4096];
    while (content.bytes.size() <= limit) {
        const ssize_t n = read(file.get(), piece, sizeof piece);
        if (n < 0) return cannotRead(path);
        if (n == 0) break;
        content.bytes.append(piece, static_cast<std::size_t>(n));
    }
    return content;
}

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

void PayloadSource::describe(CLI::App& app) {
    app.add_option("TEXT", words_, "The payload")->option_text(" ");
    app.add_flag("--hex", hex_, "TEXT, lines or file are hex digits");
    app.add_flag("--items", items_, "They are typed items: byte:1 word:7 int:5 var:300 str:abc hex:0a0b");
    app.add_option("--file", file_, "The payload is what this file holds")->option_text("FILE");
}

void PayloadSource::check() const {
    if (hex_ && items_) throw CLI::ExcludesError("--hex", "--items");
    if (!file_.empty() && !words_.empty()) throw CLI::ExcludesError("--file", "TEXT");
    if (file_.empty() && words_.empty()) throw CLI::RequiredError("TEXT, or --file");
    if (words_.size() > 1 && !hex_ && !items_)
        throw CLI::ValidationError(
            "TEXT", "'" + words_[1] + "' is one too many; a text with blanks stands in quotes");
}

Parsed PayloadSource::payload(Encoding encoding) const {
    if (file_.empty()) return payload(joined(words_, items_), encoding);
    Parsed content = readFile(file_, hex_ || items_ ? LONGEST_FILE : LONGEST);
    if (!content.ok()) return content;
    if (hex_ || items_) content = payload(content.bytes, encoding);
    if (content.ok() && content.bytes.size() > LONGEST) content = tooLong();
    return content.ok() ? content : Parsed::failed("'" + file_ + "': " + content.error);
}

Parsed PayloadSource::payload(std::string_view text, Encoding encoding) const {
    if (hex_) {
        Parsed parsed = parseHex(text);
        return parsed.bytes.size() > LONGEST ? tooLong() : parsed;
    }
    const auto bytes = encoded(text, encoding);
    if (!bytes) return Parsed::failed("a character of the text is not in EUC-KR, or the text is no UTF-8");
    Parsed parsed;
    if (items_) {
        parsed = parseItems(*bytes);
    } else {
        parsed.bytes = *bytes;
    }
    return parsed.bytes.size() > LONGEST ? tooLong() : parsed;
}
