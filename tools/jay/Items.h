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

#include <string>
#include <string_view>
#include <vector>

#include "tools/jay/Parsed.h"

/** The bytes of the items. An error names the item by its place, and says what would be right. */
Parsed parseItems(std::string_view text);

/** One item of a payload. */
struct Item {
    enum Kind { BYTE, WORD, INT, VAR, STRING };

    Kind kind = BYTE;
    long long number = 0;   ///< unless it is a string
    std::string_view text;  ///< of a string: part of the payload

    /** "int", as in the text form. */
    const char* name() const;
};

/** What a payload may be made of. */
struct Guess {
    bool fits = false;        ///< else there are no items: the bytes do not look like any
    std::vector<Item> items;  ///< they cover the payload from its first byte to its last
};

/**
 * Tries to find the items that a payload was made of. Items carry no type, so this is never more than a guess: the row of
 * items that explains the bytes with the least surprise, where a readable string and a small number surprise least. One
 * byte is given as `byte`, although it may be `var`. Takes time proportional to the size.
 */
Guess guessItems(std::string_view payload);

/** An item in the text form, which parseItems() reads back to the same bytes. A string's bytes that could harm a
 * terminal, or are no UTF-8, are escaped. */
std::string itemText(const Item& item);

/** All items, a blank between them. */
std::string itemsText(const std::vector<Item>& items);

/** Bytes as they stand between quotes in the text form: what could harm a terminal, and the quote, escaped. */
std::string escaped(std::string_view bytes);

#endif
