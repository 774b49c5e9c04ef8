#include "tools/jay/Text.h"

#include <fmt/core.h>
#include <map>

#include "system/JSystem.h"
#include "tools/common/Harmless.h"
#include "tools/jay/Hex.h"

namespace {

unsigned char* unsignedBytes(std::string_view bytes) {
    // The library's decoders only read.
    return reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data()));
}

Head headOfKorean(std::string_view bytes) {
    // The decoder reads two bytes without asking, and says '?' where a pair is no character.
    const bool pair = static_cast<unsigned char>(bytes[0]) >= 0x80;
    if (pair && bytes.size() < 2) return {};
    unsigned short c = 0;
    const int n = JSystem::kstowc(&c, unsignedBytes(bytes), 2);
    if (pair && c == '?') return {};
    return {true, c, static_cast<std::size_t>(n)};
}

Head headOf(std::string_view bytes, Encoding encoding) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    if (first < 0x80) return {true, first, 1};
    if (encoding == Encoding::UTF_8) return headOfUtf8(bytes);
    if (encoding == Encoding::EUC_KR) return headOfKorean(bytes);
    return {};
}

bool isLineOrTab(unsigned long c) {
    return c == '\n' || c == '\r' || c == '\t';
}

/** The Korean code the other way round: by character, the pair of bytes. */
std::map<unsigned long, std::string> koreanPairs() {
    std::map<unsigned long, std::string> pairs;
    for (int lead = 0xA1; lead <= 0xFE; lead++) {
        for (int trail = 0x80; trail <= 0xFE; trail++) {
            const std::string pair = {static_cast<char>(lead), static_cast<char>(trail)};
            const Head head = headOfKorean(pair);
            if (head.isCharacter) pairs.emplace(head.character, pair);
        }
    }
    return pairs;
}

}  // namespace

std::optional<std::string> textOf(std::string_view bytes, Encoding encoding, Allow allow) {
    std::string text;
    while (!bytes.empty()) {
        const Head head = headOf(bytes, encoding);
        if (!head.isCharacter) return std::nullopt;
        const bool allowed = isShowable(head.character) ||
                             (allow != Allow::SHOWABLE && isLineOrTab(head.character)) ||
                             (allow == Allow::ANY && !isControl(head.character));
        if (!allowed) return std::nullopt;
        text += utf8(head.character);
        bytes.remove_prefix(head.length);
    }
    return text;
}

bool isPlainText(std::string_view bytes) {
    return textOf(bytes, Encoding::UTF_8).has_value();
}

std::string shownText(std::string_view bytes, Encoding encoding) {
    std::string shown;
    while (!bytes.empty()) {
        const Head head = headOf(bytes, encoding);
        if (head.isCharacter && head.character == '\\') {
            shown += "\\\\";
        } else if (head.isCharacter && isShowable(head.character)) {
            shown += utf8(head.character);
        } else {
            for (const char byte : bytes.substr(0, head.length)) shown += escapedByte(byte);
        }
        bytes.remove_prefix(head.length);
    }
    return shown;
}

std::string shownPayload(std::string_view bytes, Encoding encoding) {
    if (bytes.empty()) return "empty";
    const auto text = textOf(bytes, encoding);
    return text ? "text " + *text : "hex " + hexBytes(bytes);
}

std::string shortened(const std::string& text, std::size_t most, std::size_t payload) {
    if (most == 0 || text.size() <= most) return text;
    const auto isInsideCharacter = [&text](std::size_t at) { return (text[at] & 0xC0) == 0x80; };
    while (most > 0 && isInsideCharacter(most)) most--;
    return fmt::format("{} ... (--full shows all {} bytes)", text.substr(0, most), payload);
}

std::optional<std::string> encoded(std::string_view text, Encoding encoding) {
    if (encoding != Encoding::EUC_KR) return std::string(text);
    static const std::map<unsigned long, std::string> pairs = koreanPairs();
    std::string bytes;
    while (!text.empty()) {
        const Head head = headOf(text, Encoding::UTF_8);
        if (!head.isCharacter) return std::nullopt;
        if (head.character < 0x80) {
            bytes += static_cast<char>(head.character);
        } else {
            const auto pair = pairs.find(head.character);
            if (pair == pairs.end()) return std::nullopt;
            bytes += pair->second;
        }
        text.remove_prefix(head.length);
    }
    return bytes;
}
