/** @file The bytes of a database file, put together by hand as docs/database-format.md describes them. */
#ifndef JAY_TESTS_DATABASE_RECORDS_H
#define JAY_TESTS_DATABASE_RECORDS_H

#include <string>
#include <vector>

namespace database {

/** The bytes of a little-endian int. */
inline std::string word(int value) {
    std::string bytes;
    for (int i = 0; i < 4; i++) bytes += static_cast<char>(static_cast<unsigned>(value) >> (8 * i));
    return bytes;
}

inline std::string textField(const std::string& text) {
    const auto n = static_cast<int>(text.size());
    std::string length(1, static_cast<char>(n));
    if (n >= 254) length = std::string("\xFE") + word(n).substr(0, 2);
    if (n > 65535) length = std::string("\xFF") + word(n);
    return length + text;
}

inline std::string record(int id, const std::string& text) {
    const std::string field = textField(text);
    return word(4 + static_cast<int>(field.size())) + word(id) + field;
}

inline std::string header(int numRecords, int end) {
    return word(numRecords) + word(end);
}

/** A whole file of records 1, 2, ... */
inline std::string fileOf(const std::vector<std::string>& texts) {
    std::string records;
    int id = 0;
    for (const std::string& text : texts) records += record(++id, text);
    return header(id, 8 + static_cast<int>(records.size())) + records;
}

inline int wordAt(const std::string& bytes, size_t offset) {
    unsigned value = 0;
    for (size_t i = 0; i < 4; i++)
        value |= static_cast<unsigned>(static_cast<unsigned char>(bytes[offset + i])) << (8 * i);
    return static_cast<int>(value);
}

}  // namespace database

#endif
