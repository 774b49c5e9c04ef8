#ifndef JAY_TOOLS_JAY_JSON_H
#define JAY_TOOLS_JAY_JSON_H

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tools/jay/Text.h"

/**
 * A JSON object, as --json writes it: one line, the fields in the order in which they were added.
 *
 *     output.object(JsonObject().add("client", 7).add("text", "hello"));
 *
 * Only the source of this class sees the library that writes JSON: it is large, and takes long to compile.
 */
class JsonObject {
public:
    JsonObject();
    JsonObject(const JsonObject&);
    JsonObject(JsonObject&&) noexcept;
    JsonObject& operator=(const JsonObject&) = delete;
    ~JsonObject();

    JsonObject& add(const char* name, bool value);
    JsonObject& add(const char* name, double value);
    JsonObject& add(const char* name, const char* value) { return add(name, std::string_view(value)); }
    JsonObject& add(const char* name, std::string_view value);
    JsonObject& add(const char* name, const JsonObject& value);
    JsonObject& add(const char* name, const std::vector<std::string>& values);
    JsonObject& add(const char* name, const std::vector<JsonObject>& values);

    template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer>>>
    JsonObject& add(const char* name, Integer value) {
        return addInteger(name, static_cast<long long>(value));
    }

    /** Adds all fields of another object. */
    JsonObject& addAll(const JsonObject& other);

    /** Adds bytes: as "text" when they are text (line ends and tabs included), and always, whole, as "base64". */
    JsonObject& addBytes(std::string_view bytes, Encoding encoding);

    /** One line without its end. Bytes of a text that are no UTF-8 become U+FFFD, so that this never fails. */
    std::string line() const;

private:
    struct Fields;

    JsonObject& addInteger(const char* name, long long value);

    std::unique_ptr<Fields> fields_;
};

/** RFC 4648, with padding. */
std::string base64(std::string_view bytes);

#endif
