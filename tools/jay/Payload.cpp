#include "tools/jay/Payload.h"

#include <cstddef>
#include <cstdint>

namespace {

/** A form of UTF-8 sequence. */
struct Form {
    unsigned char mask, lead;  // the first byte is this one when `mask` leaves `lead` of it
    std::size_t length;
    std::uint32_t least;  // the lowest character that is to be written so
};

constexpr Form FORMS[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

constexpr std::uint32_t NOT_A_CHARACTER = 0xFFFFFFFF;

/** Takes the character at the head of the bytes off. */
std::uint32_t takeCharacter(std::string_view& bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    for (const Form& form : FORMS) {
        if ((first & form.mask) != form.lead) continue;
        if (bytes.size() < form.length) break;
        std::uint32_t c = first & static_cast<unsigned char>(~form.mask);
        for (std::size_t i = 1; i < form.length; i++) {
            const auto next = static_cast<unsigned char>(bytes[i]);
            if ((next & 0xC0) != 0x80) return NOT_A_CHARACTER;
            c = c << 6 | (next & 0x3F);
        }
        bytes.remove_prefix(form.length);
        return c >= form.least ? c : NOT_A_CHARACTER;
    }
    return NOT_A_CHARACTER;
}

bool isShowable(std::uint32_t c) {
    const bool control = c < 0x20 || (c >= 0x7F && c <= 0x9F);
    const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
    return !control && !surrogate && c <= 0x10FFFF;
}

}  // namespace

bool isPlainText(std::string_view bytes) {
    while (!bytes.empty()) {
        if (!isShowable(takeCharacter(bytes))) return false;
    }
    return true;
}

std::string shownPayload(std::string_view bytes) {
    static const char digits[] = "0123456789abcdef";
    if (bytes.empty()) return "empty";
    if (isPlainText(bytes)) return "text " + std::string(bytes);
    std::string shown = "hex";
    shown.reserve(shown.size() + 3 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        shown += {' ', digits[byte >> 4], digits[byte & 15]};
    }
    return shown;
}
