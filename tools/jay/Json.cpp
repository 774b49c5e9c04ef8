#include "tools/jay/Json.h"

std::string base64(std::string_view bytes) {
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < 3 ? bytes.size() : 3)) {
        unsigned bits = 0;
        for (std::size_t i = 0; i < 3; i++) {
            bits = bits << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0);
        }
        for (std::size_t i = 0; i < 4; i++) {
            text += i <= bytes.size() ? digits[bits >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

void addBytes(Json& object, std::string_view bytes, Encoding encoding) {
    if (const auto text = textOf(bytes, encoding, Blanks::WITH_LINES)) object["text"] = *text;
    object["base64"] = base64(bytes);
}

std::string jsonLine(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}
