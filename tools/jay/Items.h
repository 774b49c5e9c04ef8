/**
 * @file A payload in the library's own encoding (bus/JMessage.h), written as text: its items one behind the other.
 *
 *     int:5 str:abc var:300 word:7 byte:1
 *
 * | item          | bytes                        | values                                                     |
 * |---------------|------------------------------|------------------------------------------------------------|
 * | `byte:N`      | 1                            | -128..255                                                  |
 * | `word:N`      | 2                            | -32768..65535                                              |
 * | `int:N`       | 4                            | -2147483648..4294967295                                    |
 * | `var:N`       | 1, 3 or 5                    | 0..2147483647                                              |
 * | `str:TEXT`    | its length as var, its bytes | up to the next blank                                       |
 * | `str:"TEXT"`  | the same                     | up to the closing quote, blanks included                   |
 * | `hex:BYTES`   | the bytes alone              | pairs of hex digits                                        |
 *
 * Numbers are decimal, or hexadecimal behind 0x. In a TEXT stand `\\`, `\"`, `\n`, `\r`, `\t`, `\xHH` (a byte) and a
 * blank behind a backslash for themselves.
 */
#ifndef JAY_TOOLS_JAY_ITEMS_H
#define JAY_TOOLS_JAY_ITEMS_H

#include <climits>
#include <string>
#include <string_view>
#include <vector>

/** One item of a payload. */
struct Item {
    enum Kind { BYTE, WORD, INT, VAR, STRING };

    Kind kind = BYTE;
    long long number = 0;   ///< unless it is a string
    std::string_view text;  ///< of a string: part of the payload

    /** "int", as in the text form. */
    const char* name() const;
};

/** A type of numbers, and the values that can be written in it. */
struct NumberType {
    const char* name;
    Item::Kind kind;
    long long least, most;
};

inline constexpr NumberType NUMBER_TYPES[] = {{"byte", Item::BYTE, -128, 255},
                                              {"word", Item::WORD, -32768, 65535},
                                              {"int", Item::INT, INT_MIN, UINT_MAX},
                                              {"var", Item::VAR, 0, INT_MAX}};

/** Null if no type of numbers has the name. */
const NumberType* findNumberType(std::string_view name);

/** An item in the text form, which ItemParser.h reads back to the same bytes. A string's bytes that could harm a
 * terminal, or are no UTF-8, are escaped. */
std::string itemText(const Item& item);

/** All items, a blank between them. */
std::string itemsText(const std::vector<Item>& items);

/** Bytes as they stand between quotes in the text form: what could harm a terminal, and the quote, escaped. */
std::string escaped(std::string_view bytes);

#endif
