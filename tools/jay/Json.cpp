#include "tools/jay/Json.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tools/common/Harmless.h"

namespace {

/** Escapes the characters of a line of JSON that could harm a terminal; they stand in strings only. */
std::string escapeUnshowable(std::string_view json) {
    std::string line;
    while (!json.empty()) {
        const Head head = headOfUtf8(json);
        if (isShowable(head.character)) {
            line += json.substr(0, head.length);
        } else {
            line += fmt::format("\\u{:04x}", head.character);
        }
        json.remove_prefix(head.length);
    }
    return line;
}

}  // namespace

struct JsonObject::Fields {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
};

JsonObject::JsonObject() : fields_(std::make_unique<Fields>()) {
}

JsonObject::JsonObject(const JsonObject& other) : fields_(std::make_unique<Fields>(*other.fields_)) {
}

JsonObject::JsonObject(JsonObject&&) noexcept = default;
JsonObject::~JsonObject() = default;

JsonObject& JsonObject::add(const char* name, bool value) {
    fields_->json[name] = value;
    return *this;
}

JsonObject& JsonObject::add(const char* name, double value) {
    fields_->json[name] = value;
    return *this;
}

JsonObject& JsonObject::add(const char* name, std::string_view value) {
    fields_->json[name] = value;
    return *this;
}

JsonObject& JsonObject::add(const char* name, const JsonObject& value) {
    fields_->json[name] = value.fields_->json;
    return *this;
}

JsonObject& JsonObject::add(const char* name, const std::vector<std::string>& values) {
    fields_->json[name] = values;
    return *this;
}

JsonObject& JsonObject::add(const char* name, const std::vector<JsonObject>& values) {
    auto& array = fields_->json[name] = nlohmann::ordered_json::array();
    for (const JsonObject& value : values) array.push_back(value.fields_->json);
    return *this;
}

JsonObject& JsonObject::addInteger(const char* name, long long value) {
    fields_->json[name] = value;
    return *this;
}

JsonObject& JsonObject::addAll(const JsonObject& other) {
    fields_->json.update(other.fields_->json);
    return *this;
}

JsonObject& JsonObject::addBytes(std::string_view bytes, Encoding encoding) {
    if (const auto text = textOf(bytes, encoding, Allow::ANY)) add("text", *text);
    return add("base64", base64(bytes));
}

std::string JsonObject::line() const {
    return escapeUnshowable(
        fields_->json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

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
