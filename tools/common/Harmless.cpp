#include "tools/common/Harmless.h"

#include "system/JSystem.h"

Head headOfUtf8(std::string_view bytes) {
    constexpr std::size_t LONGEST = 6;
    const std::string_view few = bytes.substr(0, LONGEST);
    // The library's decoder only reads.
    auto* const start = reinterpret_cast<unsigned char*>(const_cast<char*>(few.data()));
    unsigned long c = 0;
    const int n = JSystem::mbtowc(&c, start, static_cast<int>(few.size()));
    if (n <= 0) return {};
    return {true, c, static_cast<std::size_t>(n)};
}

bool isControl(unsigned long character) {
    constexpr unsigned long HIGHEST = 0x10FFFF;
    const bool control = character < 0x20 || (character >= 0x7F && character <= 0x9F);
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return control || surrogate || character > HIGHEST;
}

bool isShowable(unsigned long character) {
    const bool mark = character == 0x61C || character == 0x200E || character == 0x200F;  // of a direction
    const bool line = character == 0x2028 || character == 0x2029;  // ends a line or a paragraph
    const bool order =
        (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    return !isControl(character) && !mark && !line && !order;
}

std::string utf8(unsigned long character) {
    unsigned char bytes[6];
    const int n = JSystem::wctomb(bytes, sizeof bytes, character);
    return std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(n));
}

std::string escapedByte(char byte) {
    static const char digits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    return {'\\', 'x', digits[value >> 4], digits[value & 15]};
}

std::string harmless(std::string_view line) {
    std::string shown;
    while (!line.empty()) {
        const Head head = headOfUtf8(line);
        if (head.isCharacter && isShowable(head.character)) {
            shown += utf8(head.character);
        } else {
            for (const char byte : line.substr(0, head.length)) shown += escapedByte(byte);
        }
        line.remove_prefix(head.length);
    }
    return shown;
}
