#ifndef JAY_CORE_DETAIL_LETTERS_H
#define JAY_CORE_DETAIL_LETTERS_H

/**
 * @file Upper and lower case of the ASCII letters. Every other byte stays as it is, bytes of 128 and above among
 * them: they are parts of double-byte characters. <cctype> is not used, because it follows the application's locale.
 */

namespace jay::detail {

constexpr char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace jay::detail

#endif
